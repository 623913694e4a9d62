#include "adapters/system/atomic_file.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

namespace tolvik {
namespace {

namespace fs = std::filesystem;

class AtomicFileTest : public ::testing::Test {
protected:
    AtomicFileTest() {
        std::string name = (fs::temp_directory_path() / "tolvik-atomic-XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~AtomicFileTest() override { fs::remove_all(folder_); }
    AtomicFileTest(const AtomicFileTest&) = delete;
    AtomicFileTest& operator=(const AtomicFileTest&) = delete;

    [[nodiscard]] static std::string textOf(const fs::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] std::size_t filesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }

    fs::path folder_;
};

TEST_F(AtomicFileTest, AppearsWholeOrNotAtAll) {
    const fs::path path = folder_ / "report.csv";
    {
        auto file = AtomicFile::open(path.string());
        ASSERT_TRUE(file) << file.error();
        EXPECT_TRUE(file->write("one,"));
        EXPECT_FALSE(fs::exists(path));
        EXPECT_TRUE(file->write("two"));
        EXPECT_TRUE(file->commit());
    }
    EXPECT_EQ(textOf(path), "one,two");
    {
        auto file = AtomicFile::open(path.string());
        ASSERT_TRUE(file);
        EXPECT_TRUE(file->write("half"));
    }
    EXPECT_EQ(textOf(path), "one,two");
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(AtomicFileTest, KeepsRightsAndLinks) {
    const auto write = [](const fs::path& path, std::string_view text) {
        auto file = AtomicFile::open(path.string());
        return file && file->write(text) && file->commit();
    };
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(write(folder_ / "new", "x"));
    ::umask(mask);
    EXPECT_EQ(fs::status(folder_ / "new").permissions(), static_cast<fs::perms>(0640));
    fs::permissions(folder_ / "new", static_cast<fs::perms>(0604));
    fs::create_symlink("new", folder_ / "link");
    EXPECT_TRUE(write(folder_ / "link", "y"));
    EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
    EXPECT_EQ(textOf(folder_ / "new"), "y");
    EXPECT_EQ(fs::status(folder_ / "new").permissions(), static_cast<fs::perms>(0604));
}

TEST_F(AtomicFileTest, SaysWhatIsWrong) {
    const auto nowhere = AtomicFile::open((folder_ / "none" / "file").string());
    ASSERT_FALSE(nowhere);
    EXPECT_NE(nowhere.error().find("No such file"), std::string::npos) << nowhere.error();
    EXPECT_FALSE(AtomicFile::open(folder_.string()));
    // A device that is full takes the first bytes and tells at the end.
    auto full = AtomicFile::open("/dev/full");
    ASSERT_TRUE(full) << full.error();
    EXPECT_FALSE(full->write("x"));
    const auto placed = full->commit();
    ASSERT_FALSE(placed);
    EXPECT_NE(placed.error().find("No space left"), std::string::npos) << placed.error();
}

}  // namespace
}  // namespace tolvik

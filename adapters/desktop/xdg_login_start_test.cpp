#include "adapters/desktop/xdg_login_start.h"

#include <QTemporaryDir>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace tolvik {
namespace {

class XdgLoginStartTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path home() const { return folder_.path().toStdString(); }
    [[nodiscard]] std::filesystem::path file() const { return home() / "autostart" / "tolvik.desktop"; }
    [[nodiscard]] std::string content() const {
        std::ifstream in(file());
        return {std::istreambuf_iterator<char>(in), {}};
    }

    QTemporaryDir folder_;
    XdgLoginStart start_{home(), {"/opt/my apps/tolvik-desktop", "--hidden"}};
};

TEST_F(XdgLoginStartTest, switchesOnAndOff) {
    EXPECT_FALSE(start_.isEnabled());
    ASSERT_TRUE(start_.setEnabled(true).has_value());
    EXPECT_TRUE(start_.isEnabled());
    EXPECT_NE(content().find("\nExec=\"/opt/my apps/tolvik-desktop\" --hidden\n"), std::string::npos);
    ASSERT_TRUE(start_.setEnabled(false).has_value());
    EXPECT_FALSE(start_.isEnabled());
    EXPECT_TRUE(start_.setEnabled(false).has_value());
}

TEST_F(XdgLoginStartTest, believesTheDesktopsOwnSwitch) {
    ASSERT_TRUE(start_.setEnabled(true).has_value());
    std::ofstream(file(), std::ios::app) << "Hidden = true\n";
    EXPECT_FALSE(start_.isEnabled());
    ASSERT_TRUE(start_.setEnabled(true).has_value());
    EXPECT_TRUE(start_.isEnabled());
}

TEST_F(XdgLoginStartTest, saysWhatItCouldNotWrite) {
    std::ofstream(home() / "autostart") << "a file in the folder's place";
    const auto result = start_.setEnabled(true);
    ASSERT_FALSE(result.has_value());
    EXPECT_NE(result.error().find("tolvik.desktop"), std::string::npos);
}

TEST(QuotedForExec, keepsWhatTheLauncherWouldRead) {
    EXPECT_EQ(quotedForExec("/usr/bin/tolvik-desktop"), "/usr/bin/tolvik-desktop");
    EXPECT_EQ(quotedForExec("100% mine"), "\"100%% mine\"");
    EXPECT_EQ(quotedForExec("a$b"), R"("a\\$b")");
    EXPECT_EQ(quotedForExec(R"(a\b)"), R"("a\\\\b")");
}

}  // namespace
}  // namespace tolvik

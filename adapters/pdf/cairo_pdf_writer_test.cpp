#include "adapters/pdf/cairo_pdf_writer.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace tolvik {
namespace {

using ::testing::HasSubstr;

PdfReport smallReport(std::size_t rows) {
    PdfReport report;
    report.title = "Tolvik AI Export, 2026-11-01 to 2026-11-30";
    report.heading = "Time tracking export";
    report.exported = "Exported Nov 10, 2026 at 12:00 PM";
    report.entriesTitle = "Entries";
    report.columns = {"DATE", "TASK", "START", "END", "DURATION"};
    report.rowCount = rows;
    report.rowAt = [](std::size_t i) {
        // Most rows take several lines, so that pages end in the middle of some.
        std::string title = "first" + std::to_string(i);
        for (std::size_t word = 0; word < i % 7 * 10; ++word) {
            title += " word";
        }
        return PdfRow{"2026-11-01", title + " last" + std::to_string(i), "09:00", "10:00", "1:00:00"};
    };
    report.total = {"", "", "", "Total", "99:00:00"};
    report.empty = "No entries in this range.";
    report.projectsTitle = "Projects";
    report.footer = "Page ";
    return report;
}

class PdfTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::system("pdftotext -v >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "pdftotext is not installed (Debian: poppler-utils)";
        }
    }

    /// What a reader of the pages gets, one text a page.
    static std::vector<std::string> pagesOf(const PdfReport& report) {
        std::string name = (std::filesystem::temp_directory_path() / "tolvik-pdf-XXXXXX").string();
        EXPECT_NE(::mkdtemp(name.data()), nullptr);
        const std::filesystem::path folder = name;
        const std::string file = (folder / "report.pdf").string();
        std::ofstream out(file, std::ios::binary);
        const auto written =
            CairoPdfWriter().write(report, {[&](std::string_view bytes) {
                                                out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
                                                return out.good();
                                            },
                                            {}});
        EXPECT_TRUE(written.has_value());
        out.close();
        std::vector<std::string> pages(1);
        FILE* pipe = ::popen(("pdftotext -layout " + file + " -").c_str(), "r");
        EXPECT_NE(pipe, nullptr);
        for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
            if (byte == '\f') {
                pages.emplace_back();
            } else {
                pages.back() += static_cast<char>(byte);
            }
        }
        ::pclose(pipe);
        pages.pop_back();
        std::filesystem::remove_all(folder);
        return pages;
    }
};

TEST_F(PdfTest, KeepsEveryRowOnOnePageUnderItsColumns) {
    constexpr std::size_t rows = 300;
    const auto pages = pagesOf(smallReport(rows));
    ASSERT_GT(pages.size(), 8U);
    EXPECT_THAT(pages.front(), HasSubstr("Time tracking export"));
    EXPECT_THAT(pages.back(), HasSubstr("99:00:00"));
    std::size_t next = 0;
    for (std::size_t p = 0; p < pages.size(); ++p) {
        EXPECT_THAT(pages[p], HasSubstr("Page " + std::to_string(p + 1)));
        EXPECT_THAT(pages[p], HasSubstr("DURATION"));
        for (; next < rows && pages[p].find("first" + std::to_string(next)) != std::string::npos; ++next) {
            EXPECT_THAT(pages[p], HasSubstr("last" + std::to_string(next)));
        }
    }
    EXPECT_EQ(next, rows);
}

TEST_F(PdfTest, SaysThatARangeIsEmpty) {
    const auto pages = pagesOf(smallReport(0));
    ASSERT_EQ(pages.size(), 1U);
    EXPECT_THAT(pages[0], HasSubstr("No entries in this range."));
}

TEST_F(PdfTest, EndsWithTextThatNobodyCanPrint) {
    auto report = smallReport(3);
    report.rowAt = [](std::size_t i) {
        return PdfRow{"2026-11-01",
                      i == 0   ? std::string(100'000, 'm')
                      : i == 1 ? std::string("broken \xFF\xC3 bytes\nand\tsigns")
                               : std::string(),
                      "", "", "1:00:00"};
    };
    const auto pages = pagesOf(report);
    ASSERT_LE(pages.size(), 2U);
    EXPECT_THAT(pages.back(), HasSubstr("bytes and signs"));
    EXPECT_THAT(pages.back(), HasSubstr("99:00:00"));
}

TEST_F(PdfTest, FindsEmojiAndWordsFromRightToLeftAgain) {
    auto report = smallReport(3);
    report.rowAt = [](std::size_t i) {
        const auto titles =
            std::to_array<std::string>({"Launch 🚀 with 👩‍💻", "בדיקת הדוח הרבעוני", "مراجعة التقرير الشهري"});
        return PdfRow{"2026-11-01", titles.at(i), "09:00", "10:00", "1:00:00"};
    };
    const auto pages = pagesOf(report);
    ASSERT_EQ(pages.size(), 1U);
    for (const char* whole : {"🚀", "👩‍💻", "בדיקת הדוח הרבעוני", "مراجعة التقرير الشهري"}) {
        EXPECT_THAT(pages[0], HasSubstr(whole));
    }
}

TEST(PdfWriter, StopsWhenAskedAndWhenTheOutputIsFull) {
    std::size_t taken = 0;
    const ExportOutput cancelled{[&](std::string_view bytes) {
                                     taken += bytes.size();
                                     return true;
                                 },
                                 [](std::size_t done, std::size_t) { return done < 100; }};
    EXPECT_EQ(CairoPdfWriter().write(smallReport(2000), cancelled).error(), ExportError::cancelled);
    const std::size_t before = taken;
    const ExportOutput full{[&](std::string_view bytes) {
                                taken += bytes.size();
                                return false;
                            },
                            {}};
    EXPECT_EQ(CairoPdfWriter().write(smallReport(2000), full).error(), ExportError::output);
    EXPECT_LT(taken - before, 10'000U);
}

}  // namespace
}  // namespace tolvik

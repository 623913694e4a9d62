#include "adapters/pdf/cairo_pdf_writer.h"

#include <algorithm>
#include <array>

#include "adapters/pdf/pdf_page.h"

namespace tolvik {
namespace {

constexpr double kLeft = PdfPages::kMargin;
constexpr double kRight = PdfPages::kWidth - PdfPages::kMargin;
constexpr double kText = kRight - kLeft;
/// Above and below a line of the table.
constexpr double kPad = 3.5;

// The columns of the table of entries.
constexpr TextBox kDay{kLeft, 62};
constexpr TextBox kTask{kLeft + 66, 286};
constexpr TextBox kStart{kLeft + 364, 34};
constexpr TextBox kEnd{kLeft + 402, 48};
constexpr TextBox kDuration{kRight - 56, 56, PANGO_ALIGN_RIGHT};
// The columns of the list of projects.
constexpr TextBox kProject{kLeft, 270};
constexpr TextBox kCounts{kRight - 226, 226, PANGO_ALIGN_RIGHT};
constexpr TextBox kProjectTask{kLeft + 16, 400};
constexpr TextBox kTaskTotal{kRight - 80, 80, PANGO_ALIGN_RIGHT};

constexpr TextStyle kBody{};
constexpr TextStyle kStrong{.isBold = true};
constexpr TextStyle kFaint{.points = 7.5, .isBold = true, .grey = 0.4};

/// A line of several boxes whose first lines share one base.
template <std::size_t N>
class Line {
public:
    explicit Line(std::array<SetText, N> cells) : cells_(std::move(cells)) {
        for (const SetText& cell : cells_) {
            base_ = std::max(base_, cell.baseline());
        }
        for (const SetText& cell : cells_) {
            height_ = std::max(height_, base_ - cell.baseline() + cell.height());
        }
    }

    [[nodiscard]] double height() const { return height_ + 2 * kPad; }
    void draw(PdfPages& pages) const {
        for (const SetText& cell : cells_) {
            pages.draw(cell, pages.top() + kPad + base_ - cell.baseline());
        }
        pages.advance(height());
    }

private:
    std::array<SetText, N> cells_;
    double base_ = 0;
    double height_ = 0;
};

Line<5> tableLine(const PdfPages& pages, const PdfRow& row, const TextStyle& style) {
    return Line<5>({pages.set(row.day, kDay, style), pages.set(row.task, kTask, style),
                    pages.set(row.start, kStart, style), pages.set(row.end, kEnd, style),
                    pages.set(row.duration, kDuration, style)});
}

void paragraph(PdfPages& pages, std::string_view text, const TextStyle& style, double after) {
    const Line<1> line({pages.set(text, {kLeft, kText}, style)});
    if (!pages.fits(line.height())) {
        pages.turn();
    }
    line.draw(pages);
    pages.advance(after);
}

void columnNames(PdfPages& pages, const PdfReport& report) {
    tableLine(pages, report.columns, kFaint).draw(pages);
    pages.rule(0.4);
}

/// False when the export was cancelled.
bool entries(PdfPages& pages, const PdfReport& report, const ExportOutput& output) {
    paragraph(pages, report.entriesTitle, {.points = 13, .isBold = true}, 2);
    if (report.rowCount == 0) {
        paragraph(pages, report.empty, kBody, 0);
        return true;
    }
    columnNames(pages, report);
    constexpr std::size_t rowsPerLook = 64;
    for (std::size_t i = 0; i <= report.rowCount; ++i) {
        const bool isTotal = i == report.rowCount;
        const auto line = tableLine(pages, isTotal ? report.total : report.rowAt(i), isTotal ? kStrong : kBody);
        if (!pages.fits(line.height() + 1)) {
            pages.turn();
            columnNames(pages, report);
        }
        if (isTotal) {
            pages.rule(0.4);
        }
        line.draw(pages);
        if (i + 1 < report.rowCount) {
            pages.rule(0.88);
        }
        if (output.progress && (i % rowsPerLook == 0 || isTotal) && !output.progress(i, report.rowCount)) {
            return false;
        }
    }
    return true;
}

void projects(PdfPages& pages, const PdfReport& report) {
    if (report.projects.empty()) {
        return;
    }
    constexpr double before = 18;
    constexpr double sectionStart = 90;
    if (!pages.fits(before + sectionStart)) {
        pages.turn();
    } else {
        pages.advance(before);
    }
    paragraph(pages, report.projectsTitle, {.points = 13, .isBold = true}, 2);
    for (const PdfProject& project : report.projects) {
        const Line<2> head({pages.set(project.title, kProject, kStrong), pages.set(project.counts, kCounts, kBody)});
        bool isFirst = true;
        for (const PdfTask& task : project.tasks) {
            const Line<2> line({pages.set(task.title, kProjectTask, kBody), pages.set(task.total, kTaskTotal, kBody)});
            // A project's name does not stand alone at the foot of a page.
            if (!pages.fits(line.height() + (isFirst ? head.height() + 1 : 0))) {
                pages.turn();
            }
            if (isFirst) {
                pages.rule(0.6);
                head.draw(pages);
            }
            isFirst = false;
            line.draw(pages);
        }
    }
}

}  // namespace

Result<void, ExportError> CairoPdfWriter::write(const PdfReport& report, const ExportOutput& output) {
    PdfPages pages(output, report.title, report.footer);
    paragraph(pages, report.heading, {.points = 20, .isBold = true}, 0);
    paragraph(pages, report.title, {.points = 10, .grey = 0.25}, 0);
    paragraph(pages, report.exported, {.points = 9, .grey = 0.4}, 12);
    if (!entries(pages, report, output)) {
        pages.drop();
        return failure(ExportError::cancelled);
    }
    projects(pages, report);
    return pages.finish();
}

}  // namespace tolvik

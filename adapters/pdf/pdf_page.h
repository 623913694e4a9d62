#pragma once

#include <memory>
#include <pango/pangocairo.h>
#include <string>
#include <string_view>

#include "adapters/pdf/text_painter.h"
#include "reports/export_output.h"

namespace tolvik {

/// A box that text is set in, in points from the page's top left corner.
struct TextBox {
    double left = 0;
    double width = 0;
    PangoAlignment align = PANGO_ALIGN_LEFT;
};

/// How text looks.
struct TextStyle {
    double points = 9;
    bool isBold = false;
    /// Grey level, 0 = black.
    double grey = 0.1;
};

/// Text that is set and waits for its place.
class SetText {
public:
    SetText(PangoContext* context, std::string_view text, const TextBox& box, const TextStyle& style);

    [[nodiscard]] double height() const;
    /// From the top to the first line's base.
    [[nodiscard]] double baseline() const;
    void drawAt(const TextPainter& painter, cairo_t* cairo, double top) const;

private:
    struct Free {
        void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    };
    std::unique_ptr<PangoLayout, Free> layout_;
    TextBox box_;
    double grey_;
};

/// The pages of one document, written to an output as they are filled.
class PdfPages {
public:
    /// US Letter.
    static constexpr double kWidth = 612;
    static constexpr double kHeight = 792;
    static constexpr double kMargin = 54;

    PdfPages(const ExportOutput& output, const std::string& title, std::string footer);
    PdfPages(const PdfPages&) = delete;
    PdfPages& operator=(const PdfPages&) = delete;
    ~PdfPages();

    [[nodiscard]] SetText set(std::string_view text, const TextBox& box, const TextStyle& style) const {
        return {context_, text, box, style};
    }
    /// Draws it at a height of this page.
    void draw(const SetText& text, double top) const { text.drawAt(painter_, cairo_, top); }
    [[nodiscard]] double top() const { return top_; }
    void advance(double height) { top_ += height; }
    /// A thin line across the text's width.
    void rule(double grey);
    /// True when what is `height` high still fits on the page.
    [[nodiscard]] bool fits(double height) const { return top_ + height <= kHeight - kMargin - kFooter; }
    /// Completes the page and begins another.
    void turn();
    /// Gives the rest to the output. Nothing more is drawn.
    [[nodiscard]] Result<void, ExportError> finish();
    /// What is not written yet is dropped.
    void drop() { isDropped_ = true; }

private:
    static constexpr double kFooter = 18;
    static cairo_status_t take(void* self, const unsigned char* bytes, unsigned int count);
    void drawFooter();

    const ExportOutput& output_;
    std::string footer_;
    cairo_surface_t* surface_ = nullptr;
    cairo_t* cairo_ = nullptr;
    PangoContext* context_ = nullptr;
    TextPainter painter_;
    double top_ = kMargin;
    int page_ = 1;
    bool hasFailed_ = false;
    bool isDropped_ = false;
    bool isFinished_ = false;
};

}  // namespace tolvik

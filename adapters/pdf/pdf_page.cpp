#include "adapters/pdf/pdf_page.h"

#include <cairo-pdf.h>

namespace tolvik {
namespace {

/// Inter has figures of equal width; what it lacks comes from what else the system has.
constexpr const char* kFamilies = "Inter, DejaVu Sans, sans-serif";
/// However long a text is, it fits on a page.
constexpr int kMostLines = 40;

/// Text that a paragraph can hold: valid, on one line.
std::string printable(std::string_view text) {
    char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string line(valid);
    g_free(valid);
    for (char& byte : line) {
        if (static_cast<unsigned char>(byte) < 0x20U || byte == 0x7F) {
            byte = ' ';
        }
    }
    return line;
}

}  // namespace

SetText::SetText(PangoContext* context, std::string_view text, const TextBox& box, const TextStyle& style)
    : layout_(pango_layout_new(context)), box_(box), grey_(style.grey) {
    PangoFontDescription* font = pango_font_description_from_string(kFamilies);
    pango_font_description_set_absolute_size(font, style.points * PANGO_SCALE);
    pango_font_description_set_weight(font, style.isBold ? PANGO_WEIGHT_SEMIBOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout_.get(), font);
    pango_font_description_free(font);
    PangoAttrList* attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_font_features_new("tnum"));
    pango_layout_set_attributes(layout_.get(), attributes);
    pango_attr_list_unref(attributes);
    const std::string line = printable(text);
    pango_layout_set_text(layout_.get(), line.data(), static_cast<int>(line.size()));
    pango_layout_set_width(layout_.get(), pango_units_from_double(box.width));
    pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_height(layout_.get(), -kMostLines);
    pango_layout_set_ellipsize(layout_.get(), PANGO_ELLIPSIZE_END);
    pango_layout_set_alignment(layout_.get(), box.align);
}

double SetText::height() const {
    int height = 0;
    pango_layout_get_size(layout_.get(), nullptr, &height);
    return pango_units_to_double(height);
}

double SetText::baseline() const {
    return pango_units_to_double(pango_layout_get_baseline(layout_.get()));
}

void SetText::drawAt(const TextPainter& painter, cairo_t* cairo, double top) const {
    cairo_set_source_rgb(cairo, grey_, grey_, grey_);
    painter.draw(cairo, layout_.get(), box_.left, top);
}

PdfPages::PdfPages(const ExportOutput& output, const std::string& title, std::string footer)
    : output_(output),
      footer_(std::move(footer)),
      surface_(cairo_pdf_surface_create_for_stream(&PdfPages::take, this, kWidth, kHeight)),
      cairo_(cairo_create(surface_)),
      context_(pango_cairo_create_context(cairo_)) {
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_TITLE, printable(title).c_str());
    cairo_pdf_surface_set_metadata(surface_, CAIRO_PDF_METADATA_CREATOR, "Tolvik");
    // A point of the page is a point of the text, and paper has no pixels to fit glyphs to.
    pango_cairo_context_set_resolution(context_, 72);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context_, options);
    cairo_font_options_destroy(options);
}

PdfPages::~PdfPages() {
    if (!isFinished_) {
        drop();
    }
    g_object_unref(context_);
    cairo_destroy(cairo_);
    cairo_surface_destroy(surface_);
}

cairo_status_t PdfPages::take(void* self, const unsigned char* bytes, unsigned int count) {
    auto& pages = *static_cast<PdfPages*>(self);
    if (pages.isDropped_) {
        return CAIRO_STATUS_SUCCESS;
    }
    if (!pages.hasFailed_) {
        pages.hasFailed_ = !pages.output_.write({reinterpret_cast<const char*>(bytes), count});
    }
    return pages.hasFailed_ ? CAIRO_STATUS_WRITE_ERROR : CAIRO_STATUS_SUCCESS;
}

void PdfPages::rule(double grey) {
    cairo_set_source_rgb(cairo_, grey, grey, grey);
    cairo_rectangle(cairo_, kMargin, top_, kWidth - 2 * kMargin, 0.5);
    cairo_fill(cairo_);
    advance(0.5);
}

void PdfPages::drawFooter() {
    const SetText text = set(footer_ + std::to_string(page_), {kMargin, kWidth - 2 * kMargin, PANGO_ALIGN_CENTER},
                             {.points = 8, .grey = 0.4});
    draw(text, kHeight - kMargin);
}

void PdfPages::turn() {
    drawFooter();
    cairo_show_page(cairo_);
    ++page_;
    top_ = kMargin;
}

Result<void, ExportError> PdfPages::finish() {
    drawFooter();
    cairo_show_page(cairo_);
    cairo_surface_finish(surface_);
    isFinished_ = true;
    if (hasFailed_) {
        return failure(ExportError::output);
    }
    if (cairo_surface_status(surface_) != CAIRO_STATUS_SUCCESS || cairo_status(cairo_) != CAIRO_STATUS_SUCCESS) {
        return failure(ExportError::drawing);
    }
    return {};
}

}  // namespace tolvik

#include "adapters/pdf/text_painter.h"

#include <algorithm>
#include <hb-ot.h>
#include <pango/pangocairo.h>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik {
namespace {

constexpr auto kForward = static_cast<cairo_text_cluster_flags_t>(0);

/// A speck: what has no ink at all is not written.
cairo_status_t drawSpeck(cairo_scaled_font_t* /*font*/, unsigned long /*glyph*/, cairo_t* cairo,
                         cairo_text_extents_t* extents) {
    constexpr double speck = 0.001;
    cairo_rectangle(cairo, 0, 0, speck, speck);
    cairo_fill(cairo);
    extents->x_advance = 1;
    return CAIRO_STATUS_SUCCESS;
}

bool isColoured(PangoFont* font) {
    hb_face_t* face = hb_font_get_face(pango_font_get_hb_font(font));
    return hb_ot_color_has_png(face) != 0 || hb_ot_color_has_layers(face) != 0 || hb_ot_color_has_svg(face) != 0;
}

/// Signs that stand together for one piece of text; [first, end) among the glyphs of the run, from left to right.
struct Cluster {
    std::string_view text;
    int first;
    int end;
};

/// From left to right.
std::vector<Cluster> clustersOf(PangoGlyphItem* run, const char* text) {
    std::vector<Cluster> clusters;
    PangoGlyphItemIter at;
    for (gboolean more = pango_glyph_item_iter_init_start(&at, run, text); more != 0;
         more = pango_glyph_item_iter_next_cluster(&at)) {
        // In text from right to left the iterator goes down.
        const bool isForward = at.start_glyph < at.end_glyph;
        clusters.push_back(
            {std::string_view(text + at.start_index, static_cast<std::size_t>(at.end_index - at.start_index)),
             isForward ? at.start_glyph : at.end_glyph + 1, isForward ? at.end_glyph : at.start_glyph + 1});
    }
    std::ranges::sort(clusters, {}, &Cluster::first);
    return clusters;
}

double widthOf(const PangoGlyphString& glyphs, int first, int end) {
    int width = 0;
    for (int i = first; i < end; ++i) {
        width += glyphs.glyphs[i].geometry.width;
    }
    return pango_units_to_double(width);
}

/// False, and nothing is drawn, when the font lacks a sign.
bool drawInPageOrder(cairo_t* cairo, PangoGlyphItem* run, const char* text, double x, double y) {
    std::string inOrder;
    std::vector<cairo_glyph_t> glyphs;
    std::vector<cairo_text_cluster_t> pieces;
    for (const Cluster& cluster : clustersOf(run, text)) {
        const std::size_t before = glyphs.size();
        for (int i = cluster.first; i < cluster.end; ++i) {
            const PangoGlyphInfo& info = run->glyphs->glyphs[i];
            if ((info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0) {
                return false;
            }
            if (info.glyph != PANGO_GLYPH_EMPTY) {
                glyphs.push_back({info.glyph, x + pango_units_to_double(info.geometry.x_offset),
                                  y + pango_units_to_double(info.geometry.y_offset)});
            }
            x += pango_units_to_double(info.geometry.width);
        }
        inOrder += cluster.text;
        pieces.push_back({static_cast<int>(cluster.text.size()), static_cast<int>(glyphs.size() - before)});
    }
    cairo_set_scaled_font(cairo, pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(run->item->analysis.font)));
    cairo_show_text_glyphs(cairo, inOrder.data(), static_cast<int>(inOrder.size()), glyphs.data(),
                           static_cast<int>(glyphs.size()), pieces.data(), static_cast<int>(pieces.size()), kForward);
    return true;
}

}  // namespace

TextPainter::TextPainter() : silent_(cairo_user_font_face_create()) {
    cairo_user_font_face_set_render_glyph_func(silent_, drawSpeck);
}

TextPainter::~TextPainter() {
    cairo_font_face_destroy(silent_);
}

void TextPainter::draw(cairo_t* cairo, PangoLayout* layout, double left, double top) const {
    const char* text = pango_layout_get_text(layout);
    PangoLayoutIter* at = pango_layout_get_iter(layout);
    do {
        if (PangoGlyphItem* run = pango_layout_iter_get_run(at); run != nullptr) {
            PangoRectangle extents{};
            pango_layout_iter_get_run_extents(at, nullptr, &extents);
            drawRun(cairo, run, text, left + pango_units_to_double(extents.x),
                    top + pango_units_to_double(pango_layout_iter_get_baseline(at)));
        }
    } while (pango_layout_iter_next_run(at) != 0);
    pango_layout_iter_free(at);
}

void TextPainter::drawRun(cairo_t* cairo, PangoGlyphItem* run, const char* text, double x, double y) const {
    const bool coloured = isColoured(run->item->analysis.font);
    const bool isBackward = run->item->analysis.level % 2 == 1;
    if (!coloured && isBackward && drawInPageOrder(cairo, run, text, x, y)) {
        return;
    }
    cairo_move_to(cairo, x, y);
    pango_cairo_show_glyph_item(cairo, text, run);
    if (!coloured) {
        return;
    }
    cairo_set_font_face(cairo, silent_);
    for (const Cluster& cluster : clustersOf(run, text)) {
        const double width = widthOf(*run->glyphs, cluster.first, cluster.end);
        const std::string words(cluster.text);
        const auto bytes = static_cast<int>(words.size());
        cairo_set_font_size(cairo, std::max(1.0, width));
        const cairo_glyph_t glyph{1, x + widthOf(*run->glyphs, 0, cluster.first), y};
        const cairo_text_cluster_t whole{bytes, 1};
        cairo_show_text_glyphs(cairo, words.data(), bytes, &glyph, 1, &whole, 1, kForward);
    }
}

}  // namespace tolvik

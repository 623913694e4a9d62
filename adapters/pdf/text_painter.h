#pragma once

#include <cairo.h>
#include <pango/pango.h>

namespace tolvik {

/// Draws set text so that a reader of the file finds it again, word for word:
/// - Coloured signs, as emoji are, become pictures. The text that they stand for is laid over them in a font whose
/// signs
///   have a width and no ink to speak of.
/// - Text from right to left is written in the order in which it stands on the page. Cairo would go back sign by sign,
///   which readers take for a gap after each.
class TextPainter {
public:
    TextPainter();
    TextPainter(const TextPainter&) = delete;
    TextPainter& operator=(const TextPainter&) = delete;
    ~TextPainter();

    /// With the present source, the top left corner at (left, top).
    void draw(cairo_t* cairo, PangoLayout* layout, double left, double top) const;

private:
    void drawRun(cairo_t* cairo, PangoGlyphItem* run, const char* text, double x, double y) const;

    cairo_font_face_t* silent_;
};

}  // namespace tolvik

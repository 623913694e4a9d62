// The module's one door: programs that write no PDF do not load what follows.

#include <new>

#include "adapters/pdf/cairo_pdf_writer.h"

/// A new writer, or null when there is no memory. The caller owns it.
extern "C" [[gnu::visibility("default")]] tolvik::PdfWriter* tolvikMakePdfWriter();

tolvik::PdfWriter* tolvikMakePdfWriter() {
    return new (std::nothrow) tolvik::CairoPdfWriter();
}

#include "ui/shadow.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cstdint>
#include <vector>

namespace tolvik {
namespace {

/// One pass of a box blur along the rows of an 8-bit image, which is then turned, so that two passes blur both ways.
QImage boxBlurred(const QImage& in, int radius) {
    QImage out(in.height(), in.width(), QImage::Format_Alpha8);
    const int span = 2 * radius + 1;
    for (int y = 0; y < in.height(); ++y) {
        const uchar* line = in.constScanLine(y);
        int sum = 0;
        for (int x = -radius; x < in.width(); ++x) {
            sum += x + radius < in.width() ? line[x + radius] : 0;
            sum -= x - radius - 1 >= 0 ? line[x - radius - 1] : 0;
            if (x >= 0) {
                out.scanLine(x)[y] = static_cast<uchar>(sum / span);
            }
        }
    }
    return out;
}

/// A square with the shadow's four corners and edges, to be stretched over any size.
QImage tile(int blur, int corner) {
    static QHash<std::pair<int, int>, QImage> tiles;
    QImage& image = tiles[{blur, corner}];
    if (image.isNull()) {
        const int edge = 2 * blur + corner;
        image = QImage(2 * edge + 1, 2 * edge + 1, QImage::Format_Alpha8);
        image.fill(0);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(QRectF(blur, blur, image.width() - 2 * blur, image.height() - 2 * blur), corner,
                                corner);
        painter.end();
        // Three boxes come close to a Gaussian.
        for (int pass = 0; pass < 6; ++pass) {
            image = boxBlurred(image, std::max(1, blur / 3));
        }
        QImage black(image.size(), QImage::Format_ARGB32_Premultiplied);
        black.fill(Qt::transparent);
        for (int y = 0; y < image.height(); ++y) {
            auto* pixels = reinterpret_cast<QRgb*>(black.scanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                pixels[x] = qRgba(0, 0, 0, image.constScanLine(y)[x]);
            }
        }
        image = black;
    }
    return image;
}

}  // namespace

Shadow::Shadow(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &Shadow::changed, this, [this] { update(); });
}

void Shadow::paint(QPainter* painter) {
    const QImage image = tile(blur_, corner_);
    const int edge = std::min({2 * blur_ + corner_, static_cast<int>(width() / 2), static_cast<int>(height() / 2)});
    const int source = 2 * blur_ + corner_;
    const double right = width() - edge;
    const double bottom = height() - edge;
    const auto draw = [&](QRectF to, QRectF from) { painter->drawImage(to, image, from); };
    const int far = source + 1;
    draw({0, 0, double(edge), double(edge)}, QRectF(0, 0, edge, edge));
    draw({right, 0, double(edge), double(edge)}, QRectF(far + source - edge, 0, edge, edge));
    draw({0, bottom, double(edge), double(edge)}, QRectF(0, far + source - edge, edge, edge));
    draw({right, bottom, double(edge), double(edge)}, QRectF(far + source - edge, far + source - edge, edge, edge));
    draw({double(edge), 0, right - edge, double(edge)}, QRectF(source, 0, 1, edge));
    draw({double(edge), bottom, right - edge, double(edge)}, QRectF(source, far + source - edge, 1, edge));
    draw({0, double(edge), double(edge), bottom - edge}, QRectF(0, source, edge, 1));
    draw({right, double(edge), double(edge), bottom - edge}, QRectF(far + source - edge, source, edge, 1));
    draw({double(edge), double(edge), right - edge, bottom - edge}, QRectF(source, source, 1, 1));
}

}  // namespace tolvik

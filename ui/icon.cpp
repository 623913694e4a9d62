#include "ui/icon.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>

namespace tolvik {
namespace {

/// The file's text, read once; empty when there is no such icon.
const QByteArray& source(const QString& name) {
    static QHash<QString, QByteArray> sources;
    auto found = sources.find(name);
    if (found == sources.end()) {
        QFile file(QStringLiteral(":/icons/%1.svg").arg(name));
        found = sources.insert(name, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
        if (found->isEmpty() && !name.isEmpty()) {
            qWarning("There is no icon named %s", qPrintable(name));
        }
    }
    return *found;
}

}  // namespace

Icon::Icon(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setImplicitSize(size_, size_);
    setAntialiasing(true);
}

void Icon::setName(const QString& name) {
    if (name != name_) {
        name_ = name;
        update();
        Q_EMIT nameChanged();
    }
}

void Icon::setColor(const QColor& color) {
    if (color != color_) {
        color_ = color;
        update();
        Q_EMIT colorChanged();
    }
}

void Icon::setSize(int size) {
    if (size != size_) {
        size_ = size;
        setImplicitSize(size, size);
        update();
        Q_EMIT sizeChanged();
    }
}

void Icon::paint(QPainter* painter) {
    QByteArray svg = source(name_);
    if (svg.isEmpty()) {
        return;
    }
    svg.replace("currentColor", color_.name(QColor::HexRgb).toLatin1());
    QSvgRenderer renderer(svg);
    painter->setOpacity(color_.alphaF());
    renderer.render(painter, QRectF(0, 0, width(), height()));
}

}  // namespace tolvik

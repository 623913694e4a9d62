#pragma once

#include <QImage>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tolvik {

/// The soft shadow of a rounded rectangle, on every renderer. Lies behind the rectangle and reaches `blur` pixels
/// beyond it on each side; position it with negative margins of that size.
class Shadow : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    /// All in pixels; `opacity` of the item is the shadow's strength.
    Q_PROPERTY(int blur MEMBER blur_ NOTIFY changed)
    Q_PROPERTY(int corner MEMBER corner_ NOTIFY changed)
public:
    explicit Shadow(QQuickItem* parent = nullptr);
    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    int blur_ = 24;
    int corner_ = 12;
};

}  // namespace tolvik

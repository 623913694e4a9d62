#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace tolvik {

/// One icon of the icon set in one colour, sharp at every scale. Its size is `size` in both directions.
class Icon : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    /// The file's name without its ending; an unknown one draws nothing.
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(int size READ size WRITE setSize NOTIFY sizeChanged)
public:
    explicit Icon(QQuickItem* parent = nullptr);

    [[nodiscard]] QString name() const { return name_; }
    void setName(const QString& name);
    [[nodiscard]] QColor color() const { return color_; }
    void setColor(const QColor& color);
    [[nodiscard]] int size() const { return size_; }
    void setSize(int size);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void nameChanged();
    void colorChanged();
    void sizeChanged();

private:
    QString name_;
    QColor color_ = Qt::black;
    int size_ = 16;
};

}  // namespace tolvik

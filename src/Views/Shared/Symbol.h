#pragma once

#include <QColor>
#include <QQuickPaintedItem>

namespace corvane {

// A symbol, drawn in one colour. Its name is one of those in Symbols.cmake.
class Symbol : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(double size READ size WRITE setSize NOTIFY sizeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit Symbol(QQuickItem* parent = nullptr);

    QString name() const { return m_name; }
    void setName(const QString& name);
    // The size of the text that it is used with; the picture is a little larger.
    double size() const { return m_size; }
    void setSize(double size);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void nameChanged();
    void sizeChanged();
    void colorChanged();

private:
    QString m_name;
    double m_size = 12;
    QColor m_color = Qt::black;
};

} // namespace corvane

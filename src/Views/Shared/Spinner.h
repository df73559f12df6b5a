#pragma once

#include <QBasicTimer>
#include <QColor>
#include <QQuickPaintedItem>

namespace corvane {

// A turning ring of dots for work of unknown duration. It turns in few steps and only while it is visible: a
// smooth one takes as much processor time as a voice call.
class Spinner : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double size READ size WRITE setSize NOTIFY sizeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit Spinner(QQuickItem* parent = nullptr);

    double size() const { return m_size; }
    void setSize(double size);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);
    bool isTurning() const { return m_timer.isActive(); }

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void sizeChanged();
    void colorChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void followVisibility();

    double m_size = 14;
    QColor m_color = Qt::gray;
    int m_step = 0;
    QBasicTimer m_timer;
    QMetaObject::Connection m_windowVisibility;
};

} // namespace corvane

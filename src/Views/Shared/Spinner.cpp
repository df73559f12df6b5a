#include "Views/Shared/Spinner.h"

#include <QPainter>
#include <QQuickWindow>
#include <QTimerEvent>

namespace corvane {

namespace {

constexpr int dots = 8;
constexpr int stepInterval = 125; // ms, which gives one turn a second

} // namespace

Spinner::Spinner(QQuickItem* parent)
    : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    setImplicitSize(m_size, m_size);
}

void Spinner::setSize(double size) {
    if (std::exchange(m_size, size) != size) {
        setImplicitSize(size, size);
        Q_EMIT sizeChanged();
        update();
    }
}

void Spinner::setColor(const QColor& color) {
    if (std::exchange(m_color, color) != color) {
        Q_EMIT colorChanged();
        update();
    }
}

void Spinner::paint(QPainter* painter) {
    const auto area = boundingRect();
    const auto side = std::min(area.width(), area.height());
    const auto dot = side / 5.0;
    painter->setPen(Qt::NoPen);
    painter->translate(area.center());
    for (int index = 0; index < dots; ++index) {
        auto color = m_color;
        const auto age = (m_step - index + dots) % dots;
        color.setAlphaF(m_color.alphaF() * (1.0F - static_cast<float>(age) / static_cast<float>(dots)));
        painter->save();
        painter->rotate(index * 360.0 / dots);
        painter->setBrush(color);
        painter->drawEllipse(QPointF(0, -(side - dot) / 2), dot / 2, dot / 2);
        painter->restore();
    }
}

void Spinner::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickPaintedItem::itemChange(change, data);
    if (change == ItemSceneChange) {
        QObject::disconnect(m_windowVisibility);
        if (data.window) {
            m_windowVisibility =
                connect(data.window, &QWindow::visibleChanged, this, &Spinner::followVisibility);
        }
    }
    if (change == ItemSceneChange || change == ItemVisibleHasChanged) {
        followVisibility();
    }
}

void Spinner::followVisibility() {
    if (isVisible() && window() && window()->isVisible()) {
        m_timer.start(stepInterval, this);
    } else {
        m_timer.stop();
    }
}

void Spinner::timerEvent(QTimerEvent* event) {
    if (event->timerId() == m_timer.timerId()) {
        m_step = (m_step + 1) % dots;
        update();
    }
}

} // namespace corvane

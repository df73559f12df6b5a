#include "Windows/SelectionView.h"

#include <QPainter>

#include <cmath>

namespace corvane {

namespace {

constexpr double smallestSide = 5.0;
constexpr double dimming = 0.3;
constexpr double lightening = 0.2;
constexpr double lineWidth = 2.0;

QColor translucent(Qt::GlobalColor color, double alpha) {
    QColor result(color);
    result.setAlphaF(static_cast<float>(alpha));
    return result;
}

QRect drawnArea(const std::optional<QRectF>& rect) {
    return rect ? rect->adjusted(-lineWidth, -lineWidth, lineWidth, lineWidth).toAlignedRect() : QRect();
}

} // namespace

SelectionView::SelectionView(const platform::ScreenPicture& picture)
    : m_screen(picture.image) {
    m_screen.setDevicePixelRatio(picture.pixelsPerPoint());
}

void SelectionView::mouseDown(QPointF place) {
    m_startPoint = place;
    setCurrentRect(QRectF());
}

void SelectionView::mouseDragged(QPointF place) {
    if (m_startPoint) {
        setCurrentRect(QRectF(*m_startPoint, place).normalized());
    }
}

void SelectionView::mouseUp() {
    if (m_currentRect && m_currentRect->width() > smallestSide && m_currentRect->height() > smallestSide) {
        onComplete(*m_currentRect);
        return;
    }
    m_startPoint.reset();
    setCurrentRect(std::nullopt);
}

void SelectionView::draw(QPainter& painter) const {
    painter.drawImage(QPointF(), m_screen);
    painter.fillRect(QRectF(QPointF(), m_screen.deviceIndependentSize()), translucent(Qt::black, dimming));
    if (m_currentRect && !m_currentRect->isEmpty()) {
        painter.fillRect(*m_currentRect, translucent(Qt::white, lightening));
        painter.setPen(QPen(Qt::white, lineWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        painter.drawRect(*m_currentRect);
    }
}

void SelectionView::setCurrentRect(const std::optional<QRectF>& rect) {
    const auto before = drawnArea(std::exchange(m_currentRect, rect));
    onNeedsDisplay(before | drawnArea(m_currentRect));
}

} // namespace corvane

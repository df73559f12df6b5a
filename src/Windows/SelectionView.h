#pragma once

#include "Platform/Screen/ScreenGrabber.h"

#include <QRectF>
#include <QRegion>

#include <functional>
#include <optional>

class QPainter;

namespace corvane {

// The dimmed picture of a screen and the rectangle that is being drawn on it. Coordinates are in points from
// the top left corner.
class SelectionView {
public:
    explicit SelectionView(const platform::ScreenPicture& picture);

    std::function<void(const QRectF&)> onComplete;
    // Called with the part that has to be drawn again.
    std::function<void(const QRect&)> onNeedsDisplay;

    const std::optional<QPointF>& startPoint() const { return m_startPoint; }
    const std::optional<QRectF>& currentRect() const { return m_currentRect; }

    void mouseDown(QPointF place);
    void mouseDragged(QPointF place);
    // Completes a rectangle of more than 5 points in both directions, and drops a smaller one.
    void mouseUp();
    void draw(QPainter& painter) const;

private:
    void setCurrentRect(const std::optional<QRectF>& rect);

    QImage m_screen;
    std::optional<QPointF> m_startPoint;
    std::optional<QRectF> m_currentRect;
};

} // namespace corvane

#pragma once

#include "Platform/Screen/ScreenGrabber.h"

#include <QRectF>
#include <QRegion>

#include <functional>
#include <optional>

class QPainter;

namespace corvane {

// One screen as it was, dimmed, and the rectangle that is being drawn on it. In points from the top left
// corner.
class SelectionView {
public:
    explicit SelectionView(const platform::ScreenPicture& picture);

    std::function<void(const QRectF&)> onComplete;
    // The part whose look has changed.
    std::function<void(const QRect&)> onNeedsDisplay;

    const std::optional<QPointF>& startPoint() const { return m_startPoint; }
    const std::optional<QRectF>& currentRect() const { return m_currentRect; }

    void mouseDown(QPointF place);
    void mouseDragged(QPointF place);
    // Completes a rectangle of more than 5 points each way; a smaller one is dropped.
    void mouseUp();
    void draw(QPainter& painter) const;

private:
    void setCurrentRect(const std::optional<QRectF>& rect);

    QImage m_screen;
    std::optional<QPointF> m_startPoint;
    std::optional<QRectF> m_currentRect;
};

} // namespace corvane

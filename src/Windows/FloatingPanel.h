#pragma once

#include "ViewModels/PanelWindow.h"

#include <QDeadlineTimer>
#include <QQuickView>
#include <QRegion>

#include <memory>
#include <optional>

namespace platform {
class AboveFullScreen;
}

namespace corvane {

class OverlayBarPresenter;

// The bar's window: without a frame, clear where nothing is drawn, on every workspace. It has the height that
// the model gives it for the model only: the real one is that of what is drawn, so that nothing beside it
// takes a click or is covered.
class FloatingPanel : public QQuickView, public PanelWindow {
    Q_OBJECT

public:
    static constexpr int panelWidth = 620;
    static constexpr int barHeight = 48;

    FloatingPanel(QQmlEngine& engine, OverlayBarPresenter& presenter);
    ~FloatingPanel() override;

    void orderFrontRegardless() override;
    void orderOut() override;
    bool isVisible() const override { return QQuickView::isVisible(); }
    QRect frame() const override;
    void setFrame(const QRect& frame) override;
    void setLevel(WindowLevel level) override;
    void setActivationPolicy(ActivationPolicy policy) override;
    void setSharingType(SharingType type) override { m_sharingType = type; }
    void whenPainted(std::function<void()> then) override;
    // As asked for: X11 cannot hide a window from capture.
    SharingType sharingType() const { return m_sharingType; }

    // The middle of the main screen, `offset` below the top of what the desktop leaves free.
    void positionTopCenter(int offset);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void prepare();
    void moveTo(QPoint place);
    void startDrag();
    void takeShape();
    void applyHints();
    void followScreen(QScreen* screen);
    bool isWithinReach() const;
    void comeBackToAScreen();
    void comeBackFromIcon(Qt::WindowState state);

    OverlayBarPresenter& m_presenter;
    int m_height = barHeight; // as the model has it
    QPoint m_place;           // where it was last moved to, as long as the display may tell of earlier places
    QDeadlineTimer m_arriving;
    QPoint m_pressed;             // within the window
    std::optional<QPoint> m_grip; // of a drag
    std::unique_ptr<platform::AboveFullScreen> m_aboveFullScreen;
    WindowLevel m_level = WindowLevel::floating;
    ActivationPolicy m_policy = ActivationPolicy::regular;
    SharingType m_sharingType = SharingType::none;
};

} // namespace corvane

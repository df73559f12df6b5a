#pragma once

#include "Platform/Windows/WindowPlacement.h"
#include "ViewModels/FloatingPanelController.h"

#include <QQuickView>
#include <QRegion>

#include <memory>
#include <optional>

namespace platform {
class AboveFullScreen;
}

namespace corvane {

class OverlayBarPresenter;

// The bar's window: without a frame, transparent where nothing is drawn, and on every workspace. Its frame
// has the height that the model sets, but the window itself is only as high as what is drawn, so that it
// covers nothing and takes no clicks below that.
class FloatingPanel : public QQuickView, public FloatingPanelController {
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
    // Returns the type that was set. X11 cannot hide a window from capture.
    SharingType sharingType() const { return m_sharingType; }

    // Moves the panel to the horizontal centre of the main screen, `offset` points below the top of the area
    // that the desktop leaves free.
    void positionTopCenter(int offset);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void prepare();
    void startDrag();
    void applyShape();
    void applyHints();
    void followScreen(QScreen* screen);
    bool isWithinReach() const;
    void moveBackToScreen();
    void restoreFromMinimized(Qt::WindowState state);

    OverlayBarPresenter& m_presenter;
    int m_height = barHeight; // as the model has set it
    platform::WindowPlacement m_placement{*this};
    QPoint m_locationInWindow; // of the last press
    // Where a drag holds the window, and where the window was when it began.
    struct Grip {
        QPoint inWindow;
        QPoint origin;
    };
    std::optional<Grip> m_grip;
    std::unique_ptr<platform::AboveFullScreen> m_aboveFullScreen;
    WindowLevel m_level = WindowLevel::floating;
    ActivationPolicy m_policy = ActivationPolicy::regular;
    SharingType m_sharingType = SharingType::none;
};

} // namespace corvane

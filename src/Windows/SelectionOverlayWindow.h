#pragma once

#include "Services/SelectionOverlay.h"
#include "Windows/SelectionView.h"

#include <QRasterWindow>

#include <memory>

namespace platform {
class ScopedKeyboardFocus;
}

namespace corvane {

// The window for selecting a part of one screen. It covers the screen, above everything else and on every
// workspace. It takes the keyboard when it is clicked, and gives it back when it is closed.
class SelectionOverlayWindow : public QRasterWindow, public SelectionOverlay {
    Q_OBJECT

public:
    SelectionOverlayWindow(QScreen& screen, const platform::ScreenPicture& picture);
    ~SelectionOverlayWindow() override;

    int screenIndex() const { return m_screenIndex; }
    const SelectionView& selectionView() const { return m_selectionView; }

    void orderFrontRegardless() override;
    void orderOut() override;
    QAccessibleInterface* accessibleRoot() const override;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    const int m_screenIndex;
    SelectionView m_selectionView;
    std::unique_ptr<platform::ScopedKeyboardFocus> m_keyboard;
};

} // namespace corvane

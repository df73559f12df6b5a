#pragma once

#include "Windows/WindowFactory.h"

namespace corvane {

// Windows without a display.
template<typename Window>
class FakeWindow : public Window {
public:
    void orderOut() override { visible = false; }
    bool isVisible() const override { return visible; }
    void setActivationPolicy(ActivationPolicy to) override { policy = to; }
    void setSharingType(SharingType to) override { sharing = to; }
    void whenPainted(std::function<void()> then) override { then(); }

    bool visible = false;
    ActivationPolicy policy = ActivationPolicy::regular;
    SharingType sharing = SharingType::none;
};

class FakePanel : public FakeWindow<FloatingPanelController> {
public:
    void orderFrontRegardless() override { visible = true; }
    QRect frame() const override { return m_frame; }
    void setFrame(const QRect& frame) override { m_frame = frame; }
    void setLevel(WindowLevel to) override { level = to; }

    WindowLevel level = WindowLevel::floating;

private:
    QRect m_frame{330, 54, 620, 48};
};

class FakeDashboard : public FakeWindow<DashboardWindow> {
public:
    void showWindow() override { visible = true; }
};

class FakeSelectionOverlay : public SelectionOverlay {
public:
    void orderFrontRegardless() override {}
    void orderOut() override {}
};

class FakeWindowFactory : public WindowFactory {
public:
    std::unique_ptr<FloatingPanelController> makeFloatingPanel(OverlayBarPresenter&) override {
        auto made = std::make_unique<FakePanel>();
        panel = made.get();
        return made;
    }
    std::unique_ptr<DashboardWindow> makeDashboard(DashboardPresenter&, platform::DefaultsStore&) override {
        auto made = std::make_unique<FakeDashboard>();
        dashboard = made.get();
        return made;
    }

    std::unique_ptr<SelectionOverlay> makeSelectionOverlay(int, const platform::ScreenPicture&) override {
        return std::make_unique<FakeSelectionOverlay>();
    }

    // Of the program that was launched last.
    FakePanel* panel = nullptr;
    FakeDashboard* dashboard = nullptr;
};

} // namespace corvane

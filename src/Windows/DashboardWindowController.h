#pragma once

#include "Windows/DashboardWindow.h"

#include <QQuickView>

#include <optional>

namespace platform {
class DefaultsStore;
}

namespace corvane {

class DashboardPresenter;

// The dashboard's window. Closing it only hides it: the program goes on, the frame is stored, and the memory
// of the views is freed until the window is shown again.
class DashboardWindowController : public QQuickView, public DashboardWindow {
    Q_OBJECT

public:
    DashboardWindowController(QQmlEngine& engine, DashboardPresenter& presenter,
                              platform::DefaultsStore& defaults);
    ~DashboardWindowController() override;

    void showWindow() override;
    void orderOut() override;
    bool isVisible() const override {
        return QQuickView::isVisible() && !windowStates().testFlag(Qt::WindowMinimized);
    }
    void whenPainted(std::function<void()> then) override;
    void setSharingType(SharingType type) override { m_sharingType = type; }
    SharingType sharingType() const { return m_sharingType; }
    void setActivationPolicy(ActivationPolicy policy) override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void makeKeyAndOrderFront();
    bool windowShouldClose();
    void applyPolicy();
    std::optional<QRect> storedFrame() const;
    void restoreFrame();
    void saveFrame();

    DashboardPresenter& m_presenter;
    platform::DefaultsStore& m_defaults;
    ActivationPolicy m_policy = ActivationPolicy::regular;
    SharingType m_sharingType = SharingType::readOnly;
};

} // namespace corvane

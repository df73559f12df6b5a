#include "Windows/WindowFactory.h"

#include "Windows/DashboardWindowController.h"
#include "Windows/FloatingPanel.h"
#include "Windows/SelectionOverlayWindow.h"
#ifdef CORVANE_UPDATER
#include "Windows/UpdateWindow.h"
#endif

#include <QGuiApplication>
#include <QQmlEngine>

namespace corvane {

namespace {

// Creates real windows, which share one QML engine.
class DesktopWindowFactory : public WindowFactory {
public:
    DesktopWindowFactory() { m_engine.addImportPath(QStringLiteral("qrc:/qt/qml")); }

    std::unique_ptr<FloatingPanelController> makeFloatingPanel(OverlayBarPresenter& presenter) override {
        return std::make_unique<FloatingPanel>(m_engine, presenter);
    }
    std::unique_ptr<DashboardWindow> makeDashboard(DashboardPresenter& presenter,
                                                   platform::DefaultsStore& defaults) override {
        return std::make_unique<DashboardWindowController>(m_engine, presenter, defaults);
    }
#ifdef CORVANE_UPDATER
    std::unique_ptr<AuxiliaryWindow> makeUpdateWindow(UpdateDialogPresenter& presenter) override {
        return std::make_unique<UpdateWindow>(m_engine, presenter);
    }
#endif
    std::unique_ptr<SelectionOverlay> makeSelectionOverlay(int screenIndex,
                                                           const platform::ScreenPicture& picture) override {
        auto* screen = QGuiApplication::screens().value(screenIndex);
        return screen ? std::make_unique<SelectionOverlayWindow>(*screen, picture) : nullptr;
    }

private:
    QQmlEngine m_engine;
};

} // namespace

std::unique_ptr<WindowFactory> makeWindowFactory() {
    return std::make_unique<DesktopWindowFactory>();
}

} // namespace corvane

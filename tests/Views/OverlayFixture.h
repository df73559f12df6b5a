#pragma once

#include "Appearance.h"
#include "ApplicationWindows.h"
#include "KeychainService.h"
#include "LoginItem.h"
#include "OverlayViewModel.h"
#include "SettingsViewModel.h"
#include "TestProgram.h"

// Windows that only remember what was asked of them.
class FakeWindows : public ApplicationWindows {
public:
    PanelWindow* floatingPanel() const override { return nullptr; }
    void showDashboard() override { calls.append("dashboard"); }
    void setContentProtected(bool) override {}
    void setActivationPolicy(ActivationPolicy) override {}
    void terminate() override { calls.append("terminate"); }

    QStringList calls;
};

class NoLoginItem : public platform::LoginItem {
public:
    void registerItem() override {}
    void unregisterItem() override {}
};

// The models that the views stand on, on a program that has launched and has its session.
struct OverlayModels {
    TestProgram program;
    FakeWindows windows;
    platform::Appearance appearance;
    NoLoginItem loginItem;
    std::unique_ptr<SettingsViewModel> settings;
    std::unique_ptr<OverlayViewModel> overlay;

    OverlayModels() {
        program.launchToSession();
        auto& app = *program.app;
        settings = std::make_unique<SettingsViewModel>(
            app.databaseService(), app.keychainService(),
            SettingsViewModel::Desktop{*program.defaults, appearance, loginItem, windows});
        overlay = std::make_unique<OverlayViewModel>(app.webSocketService(), *settings, windows);
    }

    WebSocketService& webSocket() { return program.app->webSocketService(); }
};

#pragma once

#include "Appearance.h"
#include "FakeDesktop.h"
#include "OverlayViewModel.h"
#include "SettingsViewModel.h"
#include "TestProgram.h"

// The models that the views stand on, beside a program that has launched and has its session.
struct OverlayModels {
    TestProgram program;
    FakeWindows windows;
    platform::Appearance appearance;
    FakeLoginItem loginItem;
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

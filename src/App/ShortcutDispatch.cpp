#include "App/AppDelegate.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/ScreenCaptureService.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/SystemAudioViewModel.h"

#include <map>

namespace corvane {

namespace {

constexpr int step = 12; // points

} // namespace

void AppDelegate::shortcutTriggered(ShortcutAction action) {
    platform::dispatchToMain(this, [this, action] { perform(action); });
}

void AppDelegate::perform(ShortcutAction action) {
    using Work = void (*)(AppDelegate&);
    // Screen coordinates grow downwards.
    static const std::map<ShortcutAction, Work> table{
        {ShortcutAction::toggleDashboard, [](AppDelegate& app) { app.toggleDashboard(); }},
        {ShortcutAction::toggleWindow, [](AppDelegate& app) { app.toggleFloatingPanel(); }},
        {ShortcutAction::focusInput, [](AppDelegate& app) { app.focusInput(); }},
        {ShortcutAction::moveWindowUp,
         [](AppDelegate& app) {
             app.movePanel({0, -step});
         }},
        {ShortcutAction::moveWindowDown,
         [](AppDelegate& app) {
             app.movePanel({0, step});
         }},
        {ShortcutAction::moveWindowLeft,
         [](AppDelegate& app) {
             app.movePanel({-step, 0});
         }},
        {ShortcutAction::moveWindowRight,
         [](AppDelegate& app) {
             app.movePanel({step, 0});
         }},
        {ShortcutAction::systemAudio, [](AppDelegate& app) { app.toggleSystemAudio(); }},
        {ShortcutAction::audioRecording,
         [](AppDelegate& app) {
             auto& model = *app.m_completionViewModel;
             model.setIsRecordingAudio(!model.isRecordingAudio());
         }},
        {ShortcutAction::screenshot,
         [](AppDelegate& app) { app.m_screenCaptureService->triggerScreenshot(); }},
        {ShortcutAction::manualSendStop,
         [](AppDelegate& app) {
             platform::startTask(app.m_interviewViewModel->sendManualStop(), "manual stop");
         }},
    };
    table.at(action)(*this);
}

void AppDelegate::movePanel(QPoint by) {
    if (m_floatingPanel) {
        m_floatingPanel->setFrame(m_floatingPanel->frame().translated(by));
    }
}

void AppDelegate::toggleSystemAudio() {
    if (m_systemAudioViewModel->isCapturing()) {
        m_audioCaptureService->stopMicrophoneCapture();
        m_audioCaptureService->stopSystemCapture();
    } else {
        m_systemAudioViewModel->startCapture();
    }
}

} // namespace corvane

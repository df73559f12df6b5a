#pragma once

#include "Views/Overlay/AudioControlPresenter.h"
#include "Views/Overlay/CompletionInputPresenter.h"
#include "Views/Overlay/InterviewModesPresenter.h"
#include "Views/Overlay/ResponsePopoverPresenter.h"
#include "Views/Overlay/WsStatusPresenter.h"

#include <QRegion>
#include <QVariantList>

namespace platform {
class DefaultsStore;
class SystemAccess;
} // namespace platform

namespace corvane {

class ApplicationWindows;
class OverlayViewModel;

// The floating bar and what is shown under it: a dialog, the response or the onboarding strip. Main thread.
class OverlayBarPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the panel's root view")
    Q_PROPERTY(corvane::AudioControlPresenter* audioControl READ audioControl CONSTANT)
    Q_PROPERTY(corvane::CompletionInputPresenter* input READ input CONSTANT)
    Q_PROPERTY(corvane::InterviewModesPresenter* modes READ modes CONSTANT)
    Q_PROPERTY(corvane::WsStatusPresenter* status READ status CONSTANT)
    Q_PROPERTY(corvane::ResponsePopoverPresenter* response READ response CONSTANT)

    Q_PROPERTY(bool isHidden READ isHidden NOTIFY isHiddenChanged)
    Q_PROPERTY(double materialStrength READ materialStrength NOTIFY materialStrengthChanged)
    Q_PROPERTY(double panelHeight READ panelHeight NOTIFY panelHeightChanged)
    Q_PROPERTY(bool manuallyDismissed READ manuallyDismissed NOTIFY changed)
    Q_PROPERTY(bool hasContent READ hasContent NOTIFY changed)
    Q_PROPERTY(bool showsResponse READ showsResponse NOTIFY changed)
    Q_PROPERTY(bool showingDialog READ showingDialog NOTIFY changed)
    Q_PROPERTY(bool onboardingStripVisible READ onboardingStripVisible NOTIFY changed)

    Q_PROPERTY(QString dialogTitle READ dialogTitle NOTIFY changed)
    Q_PROPERTY(QString dialogBody READ dialogBody NOTIFY changed)
    Q_PROPERTY(QStringList dialogButtons READ dialogButtons NOTIFY changed)

public:
    OverlayBarPresenter(CompletionViewModel& completion, OverlayViewModel& overlay,
                        InterviewViewModel& interview, SettingsViewModel& settings,
                        WebSocketService& webSocket, ApplicationWindows& windows,
                        platform::SystemAccess& systemAccess, platform::DefaultsStore& defaults,
                        platform::Clock& clock, QString onboardingVideoUrl);

    AudioControlPresenter* audioControl() { return &m_audioControl; }
    CompletionInputPresenter* input() { return &m_input; }
    InterviewModesPresenter* modes() { return &m_modes; }
    WsStatusPresenter* status() { return &m_status; }
    ResponsePopoverPresenter* response() { return &m_response; }

    bool isHidden() const;
    // Returns the opacity of the background of every card, from 0 to 1.
    double materialStrength() const;
    double panelHeight() const;
    // Returns whether the user has collapsed the content.
    bool manuallyDismissed() const { return m_manuallyDismissed; }
    bool hasContent() const { return m_viewState.hasContent; }
    bool showsResponse() const { return m_viewState.showsResponse; }
    bool showingDialog() const { return m_viewState.dialog != Dialog::none; }
    bool onboardingStripVisible() const { return m_viewState.onboardingStripVisible; }
    QString dialogTitle() const;
    QString dialogBody() const; // may be empty
    QStringList dialogButtons() const;

    Q_INVOKABLE void toggleContent();
    Q_INVOKABLE void showDashboard();
    Q_INVOKABLE void askToQuit();
    // Presses the button with that index in the dialog; 0 cancels.
    Q_INVOKABLE void pressDialogButton(int button);
    Q_INVOKABLE void watchOnboardingVideo();
    Q_INVOKABLE void dismissOnboarding();

    // Lets the pointer drag the bar until it is released.
    Q_INVOKABLE void startMove() { Q_EMIT moveRequested(); }
    // Sets what the view paints, as rectangles of the panel. Clicks outside them go to the windows beneath.
    Q_INVOKABLE void reportDrawn(const QVariantList& rects);
    const QRegion& drawnRegion() const { return m_drawnRegion; }

Q_SIGNALS:
    void changed();
    void isHiddenChanged();
    void materialStrengthChanged();
    void panelHeightChanged();
    void drawnRegionChanged();
    void moveRequested();

private:
    enum class Dialog { none, stop, close };
    struct ViewState {
        bool hasContent = false;
        bool showsResponse = false;
        bool onboardingStripVisible = false;
        bool manuallyDismissed = false;
        bool closeStopsInterview = false;
        Dialog dialog = Dialog::none;
        bool operator==(const ViewState&) const = default;
    };
    struct DialogText;

    void subscribe();
    void showContentAgain(bool when);
    ViewState viewState() const;
    void scheduleUpdate();
    void update();
    void applyHeightRules(const ViewState& before);
    void setHasSeenOnboardingVideo();
    const DialogText& dialogText() const;

    CompletionViewModel& m_completion;
    OverlayViewModel& m_overlay;
    InterviewViewModel& m_interview;
    SettingsViewModel& m_settings;
    ApplicationWindows& m_windows;
    platform::SystemAccess& m_systemAccess;
    platform::DefaultsStore& m_defaults;
    const QString m_onboardingVideoUrl;

    AudioControlPresenter m_audioControl;
    CompletionInputPresenter m_input;
    InterviewModesPresenter m_modes;
    WsStatusPresenter m_status;
    ResponsePopoverPresenter m_response;

    bool m_manuallyDismissed = false;
    bool m_showCloseConfirm = false;
    bool m_hasSeenOnboardingVideo = false;
    bool m_updateScheduled = false;
    ViewState m_viewState;
    QRegion m_drawnRegion;
};

} // namespace corvane

#include "Views/Overlay/OverlayBarPresenter.h"

#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Services/WebSocketService.h"
#include "ViewModels/ApplicationWindows.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/StatusLine.h"

namespace corvane {

namespace {

const auto hasSeenOnboardingVideoKey = QStringLiteral("hasSeenOnboardingVideo");

bool hasContentIn(const CompletionViewModel& completion, const InterviewViewModel& interview) {
    return completion.isResponsePopoverOpen() || !interview.questions().isEmpty() ||
           !interview.interviewPlan().isEmpty() || !completion.response().isEmpty() ||
           !completion.assessmentText().isEmpty() || completion.processingStatusText();
}

} // namespace

struct OverlayBarPresenter::DialogText {
    struct Button {
        const char* label;
        void (*act)(OverlayBarPresenter& bar);
    };
    const char* title;
    const char* body;
    QList<Button> buttons;
};

OverlayBarPresenter::OverlayBarPresenter(CompletionViewModel& completion, OverlayViewModel& overlay,
                                         InterviewViewModel& interview, SettingsViewModel& settings,
                                         WebSocketService& webSocket, ApplicationWindows& windows,
                                         platform::SystemAccess& systemAccess,
                                         platform::DefaultsStore& defaults, platform::Clock& clock,
                                         QString onboardingVideoUrl)
    : m_completion(completion)
    , m_overlay(overlay)
    , m_interview(interview)
    , m_settings(settings)
    , m_windows(windows)
    , m_systemAccess(systemAccess)
    , m_defaults(defaults)
    , m_onboardingVideoUrl(std::move(onboardingVideoUrl))
    , m_audioControl(interview, completion, settings)
    , m_input(interview, completion, overlay)
    , m_modes(interview)
    , m_status(webSocket, settings, windows, clock)
    , m_response(completion, interview, settings, systemAccess)
    , m_hasSeenOnboardingVideo(defaults.boolean(hasSeenOnboardingVideoKey).value_or(false)) {
    m_viewState = viewState();
    subscribe();
}

void OverlayBarPresenter::subscribe() {
    using Self = OverlayBarPresenter;
    connect(&m_overlay, &OverlayViewModel::isHiddenChanged, this, &Self::isHiddenChanged);
    connect(&m_overlay, &OverlayViewModel::panelHeightChanged, this, &Self::panelHeightChanged);
    connect(&m_settings, &SettingsViewModel::transparencyChanged, this, &Self::materialStrengthChanged);
    connect(&m_interview, &InterviewViewModel::statusChanged, this, &Self::scheduleUpdate);
    connect(&m_interview, &InterviewViewModel::showStopDialogChanged, this, &Self::scheduleUpdate);
    connect(&m_completion, &CompletionViewModel::isResponsePopoverOpenChanged, this, &Self::scheduleUpdate);

    connect(&m_interview, &InterviewViewModel::questionsChanged, this, [this] { showContentAgain(true); });
    connect(&m_interview, &InterviewViewModel::interviewPlanChanged, this,
            [this] { showContentAgain(true); });
    connect(&m_completion, &CompletionViewModel::responseChanged, this,
            [this] { showContentAgain(!m_completion.response().isEmpty()); });
    connect(&m_completion, &CompletionViewModel::assessmentTextChanged, this,
            [this] { showContentAgain(!m_completion.assessmentText().isEmpty()); });
    connect(&m_completion, &CompletionViewModel::processingStatusTextChanged, this,
            [this] { showContentAgain(m_completion.processingStatusText().has_value()); });
}

void OverlayBarPresenter::showContentAgain(bool when) {
    if (when) {
        m_manuallyDismissed = false;
    }
    scheduleUpdate();
}

bool OverlayBarPresenter::isHidden() const {
    return m_overlay.isHidden();
}

double OverlayBarPresenter::materialStrength() const {
    return m_settings.transparency() / 100.0;
}

double OverlayBarPresenter::panelHeight() const {
    return m_overlay.panelHeight();
}

OverlayBarPresenter::ViewState OverlayBarPresenter::viewState() const {
    const auto dialog = m_interview.showStopDialog() ? Dialog::stop
                        : m_showCloseConfirm         ? Dialog::close
                                                     : Dialog::none;
    const bool free = dialog == Dialog::none;
    const bool content = hasContentIn(m_completion, m_interview);
    return {
        .hasContent = content,
        .showsResponse = free && content && !m_manuallyDismissed,
        .onboardingStripVisible = free && !m_hasSeenOnboardingVideo && (!content || m_manuallyDismissed),
        .manuallyDismissed = m_manuallyDismissed,
        .closeStopsInterview = dialog == Dialog::close && statusLine(m_interview.status()).running,
        .dialog = dialog,
    };
}

// The models change several fields at a time, so the update is queued until they are done. Otherwise the
// window would shrink and grow again.
void OverlayBarPresenter::scheduleUpdate() {
    if (!m_updateScheduled && viewState() != m_viewState) {
        m_updateScheduled = true;
        QMetaObject::invokeMethod(this, &OverlayBarPresenter::update, Qt::QueuedConnection);
    }
}

void OverlayBarPresenter::update() {
    m_updateScheduled = false;
    const auto before = std::exchange(m_viewState, viewState());
    if (m_viewState != before) {
        applyHeightRules(before);
        Q_EMIT changed();
    }
}

void OverlayBarPresenter::applyHeightRules(const ViewState& before) {
    if (m_viewState.dialog != Dialog::none) {
        if (before.dialog == Dialog::none) {
            m_overlay.expandPanel();
        }
    } else if (m_viewState.hasContent != before.hasContent) {
        if (m_viewState.hasContent) {
            m_overlay.expandPanel();
        } else {
            m_overlay.collapsePanel();
        }
    }
}

const OverlayBarPresenter::DialogText& OverlayBarPresenter::dialogText() const {
    using Bar = OverlayBarPresenter;
    static const DialogText stopDialog{
        "Pause or finish?",
        "Pause keeps the session ready. Finish ends it.",
        {{"Cancel", [](Bar& bar) { bar.m_interview.setShowStopDialog(false); }},
         {"Pause",
          [](Bar& bar) {
              // The status may have changed since the dialog was opened.
              bar.m_interview.holdInterview();
              bar.m_interview.setShowStopDialog(false);
          }},
         {"Finish",
          [](Bar& bar) {
              bar.m_interview.stopInterview();
              bar.m_interview.setShowStopDialog(false);
          }}},
    };
    static const DialogText closeDialog{
        "Quit application?",
        "The active interview will be stopped.",
        {{"Cancel",
          [](Bar& bar) {
              bar.m_showCloseConfirm = false;
              bar.scheduleUpdate();
          }},
         {"Quit", [](Bar& bar) { bar.m_windows.terminate(); }}},
    };
    static const DialogText none{"", "", {}};
    switch (m_viewState.dialog) {
    case Dialog::stop:
        return stopDialog;
    case Dialog::close:
        return closeDialog;
    case Dialog::none:
        return none;
    }
    return none;
}

QString OverlayBarPresenter::dialogTitle() const {
    return QLatin1String(dialogText().title);
}

QString OverlayBarPresenter::dialogBody() const {
    const bool silent = m_viewState.dialog == Dialog::close && !m_viewState.closeStopsInterview;
    return silent ? QString() : QString(QLatin1String(dialogText().body));
}

QStringList OverlayBarPresenter::dialogButtons() const {
    QStringList labels;
    for (const auto& button : dialogText().buttons) {
        labels.append(QLatin1String(button.label));
    }
    return labels;
}

void OverlayBarPresenter::pressDialogButton(int button) {
    const auto& buttons = dialogText().buttons;
    if (button >= 0 && button < buttons.size()) {
        buttons.at(button).act(*this);
    }
}

void OverlayBarPresenter::toggleContent() {
    m_manuallyDismissed = !m_manuallyDismissed;
    scheduleUpdate();
}

void OverlayBarPresenter::showDashboard() {
    m_windows.showDashboard();
}

void OverlayBarPresenter::askToQuit() {
    m_showCloseConfirm = true;
    scheduleUpdate();
}

void OverlayBarPresenter::watchOnboardingVideo() {
    m_systemAccess.open(m_onboardingVideoUrl);
    setHasSeenOnboardingVideo();
}

void OverlayBarPresenter::dismissOnboarding() {
    setHasSeenOnboardingVideo();
}

void OverlayBarPresenter::setHasSeenOnboardingVideo() {
    m_hasSeenOnboardingVideo = true;
    m_defaults.setBool(hasSeenOnboardingVideoKey, true);
    scheduleUpdate();
}

void OverlayBarPresenter::reportDrawn(const QVariantList& rects) {
    QRegion drawn;
    for (const auto& rect : rects) {
        drawn += rect.toRectF().toAlignedRect();
    }
    if (drawn != m_drawnRegion) {
        m_drawnRegion = drawn;
        Q_EMIT drawnRegionChanged();
    }
}

} // namespace corvane

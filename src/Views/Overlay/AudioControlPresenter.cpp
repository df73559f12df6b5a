#include "Views/Overlay/AudioControlPresenter.h"

#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Overlay/InterviewId.h"

#include <array>

namespace corvane {

namespace {

enum class Action { none, start, askToStop, resume };

struct Row {
    InterviewStatus status;
    const char* symbol;
    const char* text;
    Action action;
    const char* statusHelpText;
};

constexpr std::array rows{
    Row{InterviewStatus::idle, "play.fill", "Start", Action::start, "Start interview"},
    Row{InterviewStatus::waitingForQuestions, "", "Starting...", Action::none, "Connecting..."},
    Row{InterviewStatus::startingAudio, "", "Starting...", Action::none, "Connecting..."},
    Row{InterviewStatus::connecting, "", "Starting...", Action::none, "Connecting..."},
    Row{InterviewStatus::streaming, "pause.fill", "Pause", Action::askToStop, "Pause or finish interview"},
    Row{InterviewStatus::paused, "play.fill", "Resume", Action::resume, "Resume interview"},
    Row{InterviewStatus::error, "arrow.clockwise", "Retry", Action::start, "Retry"},
};
constexpr auto idMissing = "Enter a valid Interview ID first";

const Row& stateRow(InterviewStatus status) {
    return *std::find_if(rows.begin(), rows.end(), [status](const Row& row) { return row.status == status; });
}

} // namespace

AudioControlPresenter::AudioControlPresenter(InterviewViewModel& interview, CompletionViewModel& completion,
                                             SettingsViewModel& settings)
    : m_interview(interview)
    , m_completion(completion)
    , m_settings(settings) {
    connect(&interview, &InterviewViewModel::statusChanged, this, &AudioControlPresenter::update);
    connect(&interview, &InterviewViewModel::interviewIdChanged, this, &AudioControlPresenter::update);
    connect(&interview, &InterviewViewModel::errorMessageChanged, this, &AudioControlPresenter::update);
    connect(&completion, &CompletionViewModel::isRecordingAudioChanged, this, &AudioControlPresenter::update);
    connect(&settings, &SettingsViewModel::corvaneApiEnabledChanged, this, &AudioControlPresenter::update);
    update();
}

AudioControlPresenter::ButtonState AudioControlPresenter::corvaneAudioButton() const {
    const auto& row = stateRow(m_interview.status());
    const bool startable = row.action == Action::start && interviewId::isValid(m_interview.interviewId());
    ButtonState state{
        .symbol = QLatin1String(row.symbol),
        .text = QLatin1String(row.text),
        .tint = QStringLiteral("accent"),
        .tip = QLatin1String(row.statusHelpText),
        .enabled = startable || row.action == Action::askToStop || row.action == Action::resume,
        .failed = row.status == InterviewStatus::error,
    };
    if (state.failed) {
        state.tip = m_interview.errorMessage().value_or(state.tip);
    } else if (row.action == Action::start && !startable) {
        state.tip = QLatin1String(idMissing);
    }
    return state;
}

AudioControlPresenter::ButtonState AudioControlPresenter::customAudioButton() const {
    if (m_completion.isRecordingAudio()) {
        return {QStringLiteral("stop.fill"), QStringLiteral("Stop"), QStringLiteral("destructive"),
                QStringLiteral("Stop Recording"), true};
    }
    return {QStringLiteral("mic.fill"), QStringLiteral("Record"), QStringLiteral("accent"),
            QStringLiteral("Start Recording"), true};
}

void AudioControlPresenter::update() {
    auto state = m_settings.corvaneApiEnabled() ? corvaneAudioButton() : customAudioButton();
    if (state != m_state) {
        m_state = std::move(state);
        Q_EMIT changed();
    }
}

void AudioControlPresenter::press() {
    if (!m_state.enabled) {
        return;
    }
    if (!m_settings.corvaneApiEnabled()) {
        m_completion.setIsRecordingAudio(!m_completion.isRecordingAudio());
        return;
    }
    switch (stateRow(m_interview.status()).action) {
    case Action::none:
        return;
    case Action::start:
        m_interview.startInterviewWithId();
        return;
    case Action::askToStop:
        m_interview.setShowStopDialog(true);
        return;
    case Action::resume:
        m_interview.resumeInterview();
        return;
    }
}

} // namespace corvane

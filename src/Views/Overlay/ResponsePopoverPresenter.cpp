#include "Views/Overlay/ResponsePopoverPresenter.h"

#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Services/SilenceWatch.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/SettingsViewModel.h"
#include "ViewModels/StreamedText.h"

#include <QUrl>

#include <algorithm>
#include <array>

namespace corvane {

namespace {

using namespace std::chrono_literals;

constexpr auto frameTime = 16ms;
constexpr double staleOpacity = 0.4;
constexpr auto captureSettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";
constexpr std::array openableSchemes{"http", "https", "mailto"};

// Limits an index that may be past the end.
int clampedIndex(int index, qsizetype count) {
    return std::max(0, std::min(index, static_cast<int>(count) - 1));
}

// Shortens a text that is laid out as a whole. Texts that are meant to be read there are shorter.
QString shortened(const QString& text, qsizetype length = 2000) {
    return text.size() <= length ? text : text.first(length) + QStringLiteral("…");
}

QString positionText(const char* noun, int index, qsizetype count) {
    return QStringLiteral("%1 %2 of %3").arg(QLatin1String(noun)).arg(index + 1).arg(count);
}

} // namespace

ResponsePopoverPresenter::ResponsePopoverPresenter(CompletionViewModel& completion,
                                                   InterviewViewModel& interview, SettingsViewModel& settings,
                                                   platform::SystemAccess& systemAccess)
    : m_completion(completion)
    , m_interview(interview)
    , m_settings(settings)
    , m_systemAccess(systemAccess) {
    m_frame.setSingleShot(true);
    m_frame.setTimerType(Qt::PreciseTimer);
    m_frame.setInterval(frameTime);
    connect(&m_frame, &QTimer::timeout, this, &ResponsePopoverPresenter::refresh);
    subscribe();
    m_viewState = viewState();
    m_cards.setNoteVisible(m_viewState.noteVisible);
}

void ResponsePopoverPresenter::subscribe() {
    const auto watchViewState = [this](auto* source, auto... notifications) {
        (connect(source, notifications, this,
                 [this] {
                     m_viewStateOutdated = true;
                     schedule();
                 }),
         ...);
    };
    using Completion = CompletionViewModel;
    using Interview = InterviewViewModel;
    watchViewState(&m_completion, &Completion::isLoadingChanged, &Completion::errorChanged,
                   &Completion::processingStatusTextChanged, &Completion::isAssessmentStreamingChanged,
                   &Completion::assessmentIsStaleChanged);
    watchViewState(&m_interview, &Interview::statusChanged, &Interview::questionsChanged,
                   &Interview::activeQuestionIndexChanged, &Interview::interviewPlanChanged,
                   &Interview::activePlanTopicIndexChanged, &Interview::errorMessageChanged,
                   &Interview::audioUnavailableChanged, &Interview::microphoneFallbackActiveChanged,
                   &Interview::microphoneMissingChanged, &Interview::disconnectedDuringInterviewChanged,
                   &Interview::followUpsEnabledChanged, &Interview::englishAssessmentEnabledChanged,
                   &Interview::manualModeChanged);
    connect(&m_settings, &SettingsViewModel::transparencyChanged, this,
            &ResponsePopoverPresenter::materialStrengthChanged);

    followText(m_completion.streamedResponse(), &AssistantCardsModel::appendNote,
               &AssistantCardsModel::clearNote);
    followText(m_completion.streamedAssessment(), &AssistantCardsModel::append, &AssistantCardsModel::clear);
}

// Takes the text so far and every further piece; the views are told once a frame.
void ResponsePopoverPresenter::followText(const StreamedText& text,
                                          void (AssistantCardsModel::*append)(QStringView),
                                          void (AssistantCardsModel::*clear)()) {
    (m_cards.*append)(text.text());
    const auto take = [this](auto change) {
        const auto before = std::tuple(m_cards.hasNote(), m_cards.hasText());
        change();
        m_viewStateOutdated =
            m_viewStateOutdated || before != std::tuple(m_cards.hasNote(), m_cards.hasText());
        m_textOutdated = true;
        schedule();
    };
    connect(&text, &StreamedText::appended, this,
            [this, take, append](const QString& more) { take([&] { (m_cards.*append)(more); }); });
    connect(&text, &StreamedText::cleared, this, [this, take, clear] { take([&] { (m_cards.*clear)(); }); });
}

void ResponsePopoverPresenter::schedule() {
    if (!m_frame.isActive()) {
        m_frame.start();
    }
}

void ResponsePopoverPresenter::refresh() {
    m_cards.publish();
    if (std::exchange(m_viewStateOutdated, false)) {
        auto now = viewState();
        if (now != m_viewState) {
            m_viewState = std::move(now);
            m_cards.setNoteVisible(m_viewState.noteVisible);
            Q_EMIT changed();
        }
    }
    if (std::exchange(m_textOutdated, false) && m_settings.responseSettings().autoScroll) {
        Q_EMIT scrollToBottomRequested();
    }
}

void ResponsePopoverPresenter::follow(const SilenceWatch& watch) {
    const auto take = [this, &watch] {
        if (std::exchange(m_silenceNotice, watch.reason()) != watch.reason()) {
            Q_EMIT silenceNoticeChanged();
        }
    };
    connect(&watch, &SilenceWatch::reasonChanged, this, take);
    take();
}

double ResponsePopoverPresenter::materialStrength() const {
    return m_settings.transparency() / 100.0;
}

bool ResponsePopoverPresenter::showsTranscript() const {
    return !m_interview.followUpsEnabled() && !m_interview.englishAssessmentEnabled();
}

bool ResponsePopoverPresenter::isStarting() const {
    const auto status = m_interview.status();
    return status == InterviewStatus::waitingForQuestions || status == InterviewStatus::startingAudio ||
           status == InterviewStatus::connecting;
}

ResponsePopoverPresenter::ViewState ResponsePopoverPresenter::viewState() const {
    ViewState viewState;
    const bool hasQuestions = !m_interview.questions().isEmpty();
    const auto& stage = m_completion.processingStatusText();
    viewState.noteVisible = m_cards.hasNote() && !hasQuestions;
    viewState.hasAssistantContent = viewState.noteVisible || m_cards.hasText();
    viewState.isAssistantWorking =
        !viewState.hasAssistantContent && (m_completion.isLoading() || stage || isStarting());

    viewState.microphoneFallback = m_interview.microphoneFallbackActive();
    if (!viewState.microphoneFallback && m_interview.audioUnavailable()) {
        viewState.audioWarning = shortened(m_interview.errorMessageText());
    }
    viewState.notice = notice();
    viewState.canGiveUp =
        m_interview.status() == InterviewStatus::waitingForQuestions && m_completion.error().has_value();
    viewState.manualSendVisible = m_interview.manualModeActive();
    viewState.info = info();
    viewState.hasError = m_completion.error().has_value();
    viewState.errorText = shortened(m_completion.errorText());

    if (showsTranscript() && !m_interview.interviewPlan().isEmpty()) {
        viewState.content = QStringLiteral("planQuestions");
        viewState.planQuestions = planQuestionsText();
    } else if (viewState.hasAssistantContent) {
        viewState.content = QStringLiteral("assistant");
    } else {
        viewState.content =
            viewState.isAssistantWorking ? QStringLiteral("working") : QStringLiteral("empty");
    }
    viewState.workingText =
        isStarting() ? QStringLiteral("Connecting...") : stage.value_or(QStringLiteral("Processing..."));
    viewState.emptyTitle = hasQuestions ? QStringLiteral("Assessment will appear here")
                                        : QStringLiteral("Waiting for interview");
    viewState.emptyLine = hasQuestions ? QStringLiteral("Notes update after the candidate answers.")
                                       : QStringLiteral("Start the interview to load questions.");
    viewState.assessmentOpacity = m_completion.assessmentIsStale() ? staleOpacity : 1;
    viewState.updating = m_completion.isAssessmentStreaming();
    return viewState;
}

ResponsePopoverPresenter::Notice ResponsePopoverPresenter::notice() const {
    static constexpr Notice none;
    static constexpr Notice pausedByLoss{
        "wifi.slash", "Connection lost during the interview",
        "The interview is paused. Nothing is sent until the connection is back."};
    static constexpr Notice wentOn{"wifi.slash", "Connection lost during the interview",
                                   "The server may not have heard everything that was said since."};
    static constexpr Notice unheard{
        "mic.slash", "Your microphone is not captured",
        "The candidate is still heard. Pause and resume to try your microphone again."};
    const auto status = m_interview.status();
    if (m_interview.disconnectedDuringInterview() && isUnderWay(status)) {
        return status == InterviewStatus::paused ? pausedByLoss : wentOn;
    }
    return m_interview.microphoneMissing() ? unheard : none;
}

ResponsePopoverPresenter::Info ResponsePopoverPresenter::info() const {
    if (!showsTranscript()) {
        return m_interview.questions().isEmpty() ? Info{} : questionInfo();
    }
    if (!m_interview.interviewPlan().isEmpty()) {
        return planInfo();
    }
    Info gathering;
    gathering.section = isUnderWay(m_interview.status()) ? QStringLiteral("gathering") : QString();
    return gathering;
}

ResponsePopoverPresenter::Info ResponsePopoverPresenter::planInfo() const {
    const auto& plan = m_interview.interviewPlan();
    const auto index = clampedIndex(m_interview.activePlanTopicIndex(), plan.size());
    const InterviewPlanTopic topic{.topic = shortened(plan.at(index).topic), .questions = {}};
    return {.section = QStringLiteral("plan"),
            .chip = QStringLiteral("Interview Plan"),
            .position = positionText("Topic", index, plan.size()),
            .headline = topic.displayTopic(),
            .justification = {},
            .navigable = plan.size() > 1,
            .canGoBack = index > 0,
            .canGoForward = index < plan.size() - 1};
}

ResponsePopoverPresenter::Info ResponsePopoverPresenter::questionInfo() const {
    const auto& questions = m_interview.questions();
    const auto index = clampedIndex(m_interview.activeQuestionIndex(), questions.size());
    const auto& question = questions.at(index);
    return {.section = QStringLiteral("questions"),
            .chip = InterviewQuestion::cleanDisplayText(shortened(question.topic)),
            .position = positionText("Question", index, questions.size()),
            .headline = InterviewQuestion::cleanDisplayText(shortened(question.question)),
            .justification = InterviewQuestion::cleanDisplayText(shortened(question.justification)),
            .navigable = true,
            .canGoBack = index > 0,
            .canGoForward = index < questions.size() - 1};
}

QString ResponsePopoverPresenter::planQuestionsText() const {
    const auto& plan = m_interview.interviewPlan();
    QStringList entries;
    for (const auto& question :
         plan.at(clampedIndex(m_interview.activePlanTopicIndex(), plan.size())).questions) {
        entries.append(QString::number(entries.size() + 1) + QStringLiteral(". ") + question);
    }
    return shortened(entries.join(QStringLiteral("\n\n")), 20'000);
}

void ResponsePopoverPresenter::retryAudio() {
    m_interview.retrySystemAudioCapture();
}

void ResponsePopoverPresenter::giveUp() {
    m_interview.giveUpStart();
}

void ResponsePopoverPresenter::openCaptureSettings() {
    m_systemAccess.open(QLatin1String(captureSettings));
}

void ResponsePopoverPresenter::goBack() {
    if (showsTranscript()) {
        const auto count = m_interview.interviewPlan().size();
        m_interview.setActivePlanTopicIndex(
            std::max(0, clampedIndex(m_interview.activePlanTopicIndex(), count) - 1));
    } else if (m_interview.activeQuestionIndex() >= 1) {
        m_interview.setActiveQuestionIndex(m_interview.activeQuestionIndex() - 1);
        m_interview.sendActiveQuestion();
    }
}

void ResponsePopoverPresenter::goForward() {
    if (showsTranscript()) {
        const auto count = m_interview.interviewPlan().size();
        m_interview.setActivePlanTopicIndex(
            clampedIndex(clampedIndex(m_interview.activePlanTopicIndex(), count) + 1, count));
    } else {
        m_interview.nextQuestion();
    }
}

void ResponsePopoverPresenter::sendManualStop() {
    platform::startTask(m_interview.sendManualStop(), "mark the end of an answer");
}

void ResponsePopoverPresenter::openLink(const QString& address) {
    const auto scheme = QUrl(address).scheme();
    if (std::ranges::any_of(openableSchemes,
                            [&](const char* name) { return scheme == QLatin1String(name); })) {
        m_systemAccess.open(address);
    }
}

} // namespace corvane

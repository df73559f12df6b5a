#include "Views/Overlay/CompletionInputPresenter.h"

#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/OverlayViewModel.h"
#include "Views/Overlay/InterviewId.h"
#include "Views/Overlay/StatusLine.h"

namespace corvane {

CompletionInputPresenter::CompletionInputPresenter(InterviewViewModel& interview,
                                                   CompletionViewModel& completion, OverlayViewModel& overlay)
    : m_interview(interview)
    , m_completion(completion)
    , m_overlay(overlay) {
    using Self = CompletionInputPresenter;
    connect(&interview, &InterviewViewModel::statusChanged, this, &Self::update);
    connect(&interview, &InterviewViewModel::interviewIdChanged, this, &Self::followInterviewId);
    connect(&completion, &CompletionViewModel::processingStatusTextChanged, this, &Self::update);
    connect(&completion, &CompletionViewModel::isLoadingChanged, this, &Self::update);
    connect(&overlay, &OverlayViewModel::shouldFocusInputChanged, this, &Self::takeFocusRequest);
    update();
}

QString CompletionInputPresenter::interviewId() const {
    return m_interview.interviewId();
}

void CompletionInputPresenter::setInterviewId(const QString& id) {
    m_interview.setInterviewId(id);
}

void CompletionInputPresenter::followInterviewId() {
    if (const auto id = interviewId::extractUUID(m_interview.interviewId())) {
        m_interview.setInterviewId(*id); // calls this function again with the bare id
        return;
    }
    Q_EMIT interviewIdChanged();
    update();
}

QString CompletionInputPresenter::tip() const {
    return m_viewState.showError ? QStringLiteral("Enter a valid interview ID")
                                 : QStringLiteral("Paste the interview ID to start");
}

void CompletionInputPresenter::setIsFocused(bool focused) {
    if (focused != m_isFocused) {
        m_isFocused = focused;
        Q_EMIT isFocusedChanged();
    }
}

// A request that is made while there is no field stays set and has no effect.
void CompletionInputPresenter::takeFocusRequest() {
    if (m_overlay.shouldFocusInput() && m_viewState.showsField) {
        setIsFocused(true);
        Q_EMIT focusRequested();
        m_overlay.setShouldFocusInput(false);
    }
}

void CompletionInputPresenter::update() {
    const auto& line = statusLine(m_interview.status());
    const auto& stage = m_completion.processingStatusText();
    const auto id = m_interview.interviewId();
    ViewState viewState{
        .showsField = !line.running,
        .showError = !id.trimmed().isEmpty() && !interviewId::isValid(id),
        .isProcessing = stage || m_completion.isLoading(),
        .contextText = stage.value_or(QLatin1String(line.statusLabelText)),
        .statusDotColor = QLatin1String(line.statusDotColor),
    };
    if (viewState != m_viewState) {
        m_viewState = std::move(viewState);
        Q_EMIT changed();
    }
}

void CompletionInputPresenter::submit() {
    if (interviewId::isValid(m_interview.interviewId()) && m_interview.status() == InterviewStatus::idle) {
        m_interview.startInterviewWithId();
    }
}

} // namespace corvane

#include "Views/Overlay/InterviewModesPresenter.h"

#include "ViewModels/InterviewViewModel.h"
#include "Views/Overlay/StatusLine.h"

#include <array>

namespace corvane {

namespace {

struct Segment {
    const char* label;
    bool (*isActive)(const InterviewViewModel& interview);
    bool (*isDisabled)(const InterviewViewModel& interview);
    void (*select)(InterviewViewModel& interview);
};

void setFollowUps(InterviewViewModel& interview, bool on) {
    if (interview.followUpsEnabled() != on) {
        interview.toggleFollowUps();
    }
}

void setEnglish(InterviewViewModel& interview, bool on) {
    if (interview.englishAssessmentEnabled() != on) {
        interview.toggleEnglishAssessment();
    }
}

bool never(const InterviewViewModel& /*interview*/) {
    return false;
}

// The flag that is cleared is sent to the backend before the one that is set.
constexpr std::array segments{
    Segment{"Transcript",
            [](const InterviewViewModel& interview) {
                return !interview.followUpsEnabled() && !interview.englishAssessmentEnabled();
            },
            never,
            [](InterviewViewModel& interview) {
                setEnglish(interview, false);
                setFollowUps(interview, false);
            }},
    Segment{"Assessment",
            [](const InterviewViewModel& interview) {
                return interview.followUpsEnabled() && !interview.englishAssessmentEnabled();
            },
            [](const InterviewViewModel& interview) { return interview.questions().isEmpty(); },
            [](InterviewViewModel& interview) {
                setEnglish(interview, false);
                setFollowUps(interview, true);
            }},
    Segment{"English",
            [](const InterviewViewModel& interview) { return interview.englishAssessmentEnabled(); }, never,
            [](InterviewViewModel& interview) {
                if (!interview.englishAssessmentEnabled()) {
                    setFollowUps(interview, false);
                    setEnglish(interview, true);
                }
            }},
};

const auto manualModeText = QStringLiteral(
    "Manual mode: by default the assistant responds as soon as you pause speaking. With manual "
    "mode on, it stays silent until you press space (or click Send) — handy when you want to "
    "pause mid-thought without triggering a response.\n\n");

} // namespace

InterviewModesPresenter::InterviewModesPresenter(InterviewViewModel& interview)
    : m_interview(interview)
    , m_viewState(viewState()) {
    using Self = InterviewModesPresenter;
    connect(&interview, &InterviewViewModel::statusChanged, this, &Self::update);
    connect(&interview, &InterviewViewModel::questionsChanged, this, &Self::update);
    connect(&interview, &InterviewViewModel::followUpsEnabledChanged, this, &Self::update);
    connect(&interview, &InterviewViewModel::englishAssessmentEnabledChanged, this, &Self::update);
    connect(&interview, &InterviewViewModel::manualModeChanged, this, &Self::update);
}

QStringList InterviewModesPresenter::labels() const {
    QStringList result;
    for (const auto& segment : segments) {
        result.append(QLatin1String(segment.label));
    }
    return result;
}

QString InterviewModesPresenter::manualModeTooltip() const {
    return manualModeText + (m_viewState.manualMode ? QStringLiteral("Currently ON. Click to disable.")
                                                    : QStringLiteral("Currently OFF. Click to enable."));
}

InterviewModesPresenter::ViewState InterviewModesPresenter::viewState() const {
    ViewState result{
        .visible = statusLine(m_interview.status()).running,
        .active = {},
        .disabled = {},
        .manualMode = m_interview.manualMode(),
        .manualModeAvailable = m_interview.followUpsEnabled() && !m_interview.englishAssessmentEnabled(),
    };
    for (const auto& segment : segments) {
        result.active.append(segment.isActive(m_interview));
        result.disabled.append(segment.isDisabled(m_interview));
    }
    return result;
}

void InterviewModesPresenter::update() {
    if (auto now = viewState(); now != m_viewState) {
        m_viewState = std::move(now);
        Q_EMIT changed();
    }
}

void InterviewModesPresenter::select(int segment) {
    if (segment >= 0 && segment < m_viewState.disabled.size() && !m_viewState.disabled.at(segment)) {
        segments.at(static_cast<size_t>(segment)).select(m_interview);
    }
}

void InterviewModesPresenter::toggleManualMode() {
    m_interview.setManualMode(!m_interview.manualMode());
}

} // namespace corvane

// A normal interview: at the bar, by pointer and keyboard.
#include "sandbox/tour/TourScript.h"

#include "sandbox/tour/TourRoles.h"

#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"

#include <QGuiApplication>

namespace corvane {

using namespace tourroles;

QCoro::Task<void> TourScript::startInterview() {
    m_transcript.chapter(QStringLiteral("The interview starts"));
    const auto id = QLatin1String(interviewId);
    co_await picture(QStringLiteral("onboarding-strip"));
    co_await click(QStringLiteral("Dismiss"));
    require(!m_hands.sees(QStringLiteral("Watch onboarding video")), QStringLiteral("the strip is gone"));
    co_await picture(QStringLiteral("idle"));
    co_await click(QStringLiteral("Interview ID"));
    co_await type(QStringLiteral("3f2b8c64-9d1e-1a57"));
    require(!m_hands.canUse(QStringLiteral("Start")), QStringLiteral("a wrong id starts nothing"));
    co_await picture(QStringLiteral("bad-id"));
    m_transcript.say(program, QStringLiteral("marks a wrong id, and starts nothing with it"));

    m_transcript.say(interviewer, QStringLiteral("types the invitation’s link over it"));
    co_await click(QStringLiteral("Interview ID"));
    co_await press(QStringLiteral("ctrl+a"));
    co_await type(QStringLiteral("https://lumetra.test/i/%1?from=mail").arg(id));
    require(interview().interviewId() == id, QStringLiteral("the field holds the id alone"));
    QJsonObject slowness;
    slowness.insert(QStringLiteral("milliseconds"), 1500);
    co_await apply(QStringLiteral("slow"), slowness);
    co_await press(QStringLiteral("Return"));
    co_await picture(QStringLiteral("connecting"));
    require(interview().status() != InterviewStatus::idle, QStringLiteral("Return starts the interview"));
    slowness.insert(QStringLiteral("milliseconds"), 0);
    co_await apply(QStringLiteral("slow"), slowness);
    co_await until(QStringLiteral("the interview streams"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    require(!interview().audioUnavailable() && !interview().microphoneFallbackActive(),
            QStringLiteral("both streams are captured"));
    co_await until(QStringLiteral("the questions arrive"),
                   [this] { return !interview().questions().isEmpty(); });
    co_await until(QStringLiteral("the reply is complete"), [this] { return !completion().isLoading(); });
    co_await picture(QStringLiteral("plan"));
    m_transcript.say(program, QStringLiteral("shows the plan:"));
    for (const auto& topic : interview().interviewPlan()) {
        m_transcript.quote(
            QStringLiteral("%1: %2 question(s)").arg(topic.displayTopic()).arg(topic.questions.size()));
    }
}

// Has the candidate answer until the assessment shows that another answer was heard.
QCoro::Task<void> TourScript::speakUntilHeard(QString question, QString answer) {
    const auto before = completion().assessmentText();
    m_transcript.say(interviewer, QStringLiteral("speaks"));
    auto asking = m_desktop.interviewerSays(question);
    co_await until(QStringLiteral("the question is asked"), [&asking] { return !asking.isPlaying(); });
    m_transcript.say(candidate, QStringLiteral("answers"));
    auto answering = m_desktop.candidateSays(answer);
    co_await until(
        QStringLiteral("the answer is given"), [&answering] { return !answering.isPlaying(); }, 20);
    m_transcript.say(candidate, QStringLiteral("has stopped speaking"));
    if (interview().manualModeActive()) {
        co_return;
    }
    // Named, since g++ 12 destroys the captures of a lambda in an awaited call twice.
    const Condition assessed = [this, before] {
        return !completion().assessmentText().isEmpty() && completion().assessmentText() != before &&
               !completion().isAssessmentStreaming();
    };
    co_await until(QStringLiteral("an assessment of the answer"), assessed);
    m_transcript.say(program, QStringLiteral("shows the assessment:"));
    m_transcript.quote(completion().assessmentText());
}

QCoro::Task<void> TourScript::converse() {
    m_transcript.chapter(QStringLiteral("A question and its answer"));
    m_transcript.say(interviewer, QStringLiteral("turns to the assessment"));
    co_await click(QStringLiteral("Assessment"));
    require(interview().followUpsEnabled(), QStringLiteral("the mode follows the click"));
    const auto& question = interview().questions().at(interview().activeQuestionIndex());
    m_transcript.say(program,
                     QStringLiteral("on show: ") + InterviewQuestion::cleanDisplayText(question.question));
    co_await speakUntilHeard(recording("Front_Center.wav"), recording("Rear_Left.wav"));
    const auto index = interview().activeQuestionIndex();
    co_await click(QStringLiteral("Next question"));
    require(interview().activeQuestionIndex() == index + 1, QStringLiteral("the next question shows"));
    const auto answer = m_desktop.speech(
        QStringLiteral("answer"), QStringLiteral("I would count the requests in each region on its own, and "
                                                 "reconcile the counts every second."));
    co_await speakUntilHeard(recording("Front_Left.wav"), answer);
    co_await picture(QStringLiteral("assessment"));
    const auto seen = co_await state();
    checkServer(seen);
}

QCoro::Task<void> TourScript::workManually() {
    m_transcript.chapter(QStringLiteral("Manual mode"));
    co_await click(QStringLiteral("MANUAL"));
    require(interview().manualModeActive(), QStringLiteral("manual mode is active"));
    const auto held = interview().vadStopSuppressedCount();
    const auto before = completion().assessmentText();
    co_await speakUntilHeard(recording("Front_Right.wav"), recording("Side_Left.wav"));
    co_await until(QStringLiteral("the detector's stop is held back"),
                   [this, held] { return interview().vadStopSuppressedCount() > held; });
    require(completion().assessmentText() == before,
            QStringLiteral("no assessment before the interviewer's mark"));
    co_await picture(QStringLiteral("manual-mode"));
    m_transcript.say(interviewer, QStringLiteral("marks the end of the answer"));
    co_await click(QStringLiteral("Send"));
    const Condition assessed = [this, before] {
        return completion().assessmentText() != before && !completion().isAssessmentStreaming();
    };
    co_await until(QStringLiteral("an assessment after the interviewer's mark"), assessed);
    m_transcript.say(program, QStringLiteral("shows the next assessment"));
    co_await click(QStringLiteral("MANUAL"));
    require(!interview().manualMode(), QStringLiteral("manual mode is over"));
}

// Folding, moving and the quit dialog must not disturb the interview.
QCoro::Task<void> TourScript::lookAtTheBar() {
    m_transcript.chapter(QStringLiteral("The bar makes way"));
    co_await click(QStringLiteral("Hide panel"));
    co_await picture(QStringLiteral("folded"));
    require(!m_hands.sees(QStringLiteral("Next question")), QStringLiteral("the content is folded away"));
    co_await click(QStringLiteral("Show panel"));
    const auto before = m_hands.find(QStringLiteral("Quit"));
    require(before.has_value(), QStringLiteral("the bar is there"));
    // Between two controls.
    const auto grip = QPoint(before->right() + 6, before->center().y());
    co_await drag(grip, grip + QPoint(60, 40));
    const auto after = m_hands.find(QStringLiteral("Quit"));
    require(after && after->topLeft() != before->topLeft(), QStringLiteral("the bar follows the pointer"));
    co_await drag(grip + QPoint(60, 40), grip);
    m_transcript.say(interviewer, QStringLiteral("folds, unfolds and moves the bar"));
    co_await click(QStringLiteral("Quit"));
    co_await picture(QStringLiteral("quit-dialog"));
    co_await press(QStringLiteral("Escape"));
    require(!m_hands.sees(QStringLiteral("Quit application?")), QStringLiteral("Escape takes it back"));
    require(interview().status() == InterviewStatus::streaming, QStringLiteral("the interview goes on"));
    m_transcript.say(interviewer, QStringLiteral("asks to quit, and thinks better of it"));
}

QCoro::Task<void> TourScript::pauseAndResume() {
    m_transcript.chapter(QStringLiteral("Pause and resume"));
    const auto dialog = QStringLiteral("Pause or finish?");
    co_await click(QStringLiteral("Pause"));
    co_await picture(QStringLiteral("stop-dialog"));
    co_await click(QStringLiteral("Pause"), dialog);
    require(interview().status() == InterviewStatus::paused, QStringLiteral("the interview is paused"));
    m_transcript.say(interviewer, QStringLiteral("pauses the interview"));
    co_await picture(QStringLiteral("paused"));
    const auto before = co_await state();
    co_await pause(1000);
    const auto after = co_await state();
    const auto frames = [](const QJsonObject& seen) {
        return seen.value(QStringLiteral("frames")).toObject().value(QStringLiteral("total")).toInt();
    };
    require(frames(before) == frames(after), QStringLiteral("no sound leaves during the pause"));
    m_transcript.say(sandbox, QStringLiteral("has received nothing for a second"));
    co_await click(QStringLiteral("Resume"));
    co_await until(QStringLiteral("the interview streams again"),
                   [this] { return interview().status() == InterviewStatus::streaming; });
    m_transcript.say(interviewer, QStringLiteral("resumes"));
    co_await pause(500);
    const auto resumed = co_await state();
    require(frames(resumed) > frames(after), QStringLiteral("sound leaves again"));
}

QCoro::Task<void> TourScript::finish() {
    m_transcript.chapter(QStringLiteral("The end"));
    const auto seen = co_await state();
    checkServer(seen);
    co_await click(QStringLiteral("Pause"));
    co_await click(QStringLiteral("Finish"));
    m_transcript.say(interviewer, QStringLiteral("finishes the interview"));
    require(interview().status() == InterviewStatus::idle, QStringLiteral("the interview has ended"));
    co_await until(QStringLiteral("the server acknowledges the end"), [this] {
        return m_log.contains(QStringLiteral("[Interview] End interview ack received"));
    });
    checkStore();
}

} // namespace corvane

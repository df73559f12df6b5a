#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <boost/json/object.hpp>

namespace corvane {

// The state of the one interview that can run.
enum class InterviewStatus {
    idle,
    waitingForQuestions, // the start request is out, no plan or questions yet
    startingAudio,       // capture of both streams is starting, or restarting
    connecting,
    streaming, // audio goes to the backend
    paused,    // capture is stopped, by the user or by a lost connection
    error,     // the start failed; the reason stands beside it
};
QString rawValue(InterviewStatus status);
// Whether an interview has been started and not yet finished.
constexpr bool isUnderWay(InterviewStatus status) {
    return status != InterviewStatus::idle && status != InterviewStatus::error;
}

// A question that the interviewer may ask. Equal when topic and question are: the id is made anew at each
// parse.
struct InterviewQuestion {
    QUuid id = QUuid::createUuid();
    QString topic;
    QString question;
    QString justification; // why it is asked; may be empty

    // The value of `questions` in chat_questions: topic -> array of objects. Topics and questions in the
    // order of the document; a topic whose value is not an array of objects throughout is left out.
    static QList<InterviewQuestion> parse(const boost::json::object& object);
    // For display: without bracketed notes, empty parentheses and runs of blanks.
    static QString cleanDisplayText(const QString& text);

    bool operator==(const InterviewQuestion& other) const {
        return topic == other.topic && question == other.question;
    }
};

// One topic of the interview plan. Equal when topic and questions are.
struct InterviewPlanTopic {
    QUuid id = QUuid::createUuid();
    QString topic;
    QStringList questions;

    // The value of `plan` in chat_interview_plan, by the rules of InterviewQuestion::parse.
    static QList<InterviewPlanTopic> parse(const boost::json::object& object);
    QString displayTopic() const { return InterviewQuestion::cleanDisplayText(topic); }

    bool operator==(const InterviewPlanTopic& other) const {
        return topic == other.topic && questions == other.questions;
    }
};

} // namespace corvane

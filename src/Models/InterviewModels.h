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
    waitingForQuestions, // the start request has been sent, and neither a plan nor questions have come
    startingAudio,       // capture of both streams is starting, or restarting
    connecting,
    streaming, // audio goes to the backend
    paused,    // capture is stopped, by the user or by a lost connection
    error,     // the start failed; InterviewViewModel::errorMessage() says why
};
QString rawValue(InterviewStatus status);
// Returns whether an interview has been started and has not ended yet.
constexpr bool isUnderWay(InterviewStatus status) {
    return status != InterviewStatus::idle && status != InterviewStatus::error;
}

// A question that the interviewer may ask. Two are equal when their topics and questions are; each parse
// gives new ids.
struct InterviewQuestion {
    QUuid id = QUuid::createUuid();
    QString topic;
    QString question;
    QString justification; // why it is asked; may be empty

    // Parses the value of `questions` in chat_questions, which maps each topic to an array of objects. Keeps
    // the order of the document and skips a topic whose value is anything but an array of objects.
    static QList<InterviewQuestion> parse(const boost::json::object& object);
    // Returns the text for display: without bracketed notes, empty parentheses and runs of white space.
    static QString cleanDisplayText(const QString& text);

    bool operator==(const InterviewQuestion& other) const {
        return topic == other.topic && question == other.question;
    }
};

// One topic of the interview plan. Two are equal when their topics and questions are.
struct InterviewPlanTopic {
    QUuid id = QUuid::createUuid();
    QString topic;
    QStringList questions;

    // Parses the value of `plan` in chat_interview_plan by the rules of InterviewQuestion::parse.
    static QList<InterviewPlanTopic> parse(const boost::json::object& object);
    QString displayTopic() const { return InterviewQuestion::cleanDisplayText(topic); }

    bool operator==(const InterviewPlanTopic& other) const {
        return topic == other.topic && questions == other.questions;
    }
};

} // namespace corvane

#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class CompletionViewModel;
class InterviewViewModel;
class OverlayViewModel;

// The left part of the bar: the field for the interview's id, and the state of a running interview.
class CompletionInputPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(bool showsField READ showsField NOTIFY changed)
    Q_PROPERTY(QString interviewId READ interviewId WRITE setInterviewId NOTIFY interviewIdChanged)
    Q_PROPERTY(bool showError READ showError NOTIFY changed)
    Q_PROPERTY(QString tip READ tip NOTIFY changed)
    // The field has the keyboard, or is to get it.
    Q_PROPERTY(bool isFocused READ isFocused WRITE setIsFocused NOTIFY isFocusedChanged)
    Q_PROPERTY(bool isProcessing READ isProcessing NOTIFY changed)
    Q_PROPERTY(QString contextText READ contextText NOTIFY changed)
    Q_PROPERTY(QString statusDotColor READ statusDotColor NOTIFY changed)

public:
    CompletionInputPresenter(InterviewViewModel& interview, CompletionViewModel& completion,
                             OverlayViewModel& overlay);

    bool showsField() const { return m_face.showsField; }
    QString interviewId() const;
    void setInterviewId(const QString& id);
    bool showError() const { return m_face.showError; }
    QString tip() const;
    bool isFocused() const { return m_isFocused; }
    void setIsFocused(bool focused);
    bool isProcessing() const { return m_face.isProcessing; }
    QString contextText() const { return m_face.contextText; }
    QString statusDotColor() const { return m_face.statusDotColor; } // a role of the theme

    // The Return key in the field.
    Q_INVOKABLE void submit();

Q_SIGNALS:
    void changed();
    void interviewIdChanged();
    void isFocusedChanged();
    // The field takes the keyboard: also when it has asked before and was refused.
    void focusWanted();

private:
    struct Face {
        bool showsField = false;
        bool showError = false;
        bool isProcessing = false;
        QString contextText;
        QString statusDotColor;
        bool operator==(const Face&) const = default;
    };

    void followInterviewId();
    void takeFocusRequest();
    void update();

    InterviewViewModel& m_interview;
    CompletionViewModel& m_completion;
    OverlayViewModel& m_overlay;
    Face m_face;
    bool m_isFocused = false;
};

} // namespace corvane

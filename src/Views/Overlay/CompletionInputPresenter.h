#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class CompletionViewModel;
class InterviewViewModel;
class OverlayViewModel;

// The left part of the bar: the field for the interview id, or the state of the running interview.
class CompletionInputPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(bool showsField READ showsField NOTIFY changed)
    Q_PROPERTY(QString interviewId READ interviewId WRITE setInterviewId NOTIFY interviewIdChanged)
    Q_PROPERTY(bool showError READ showError NOTIFY changed)
    Q_PROPERTY(QString tip READ tip NOTIFY changed)
    // True when the field has the keyboard or is about to get it.
    Q_PROPERTY(bool isFocused READ isFocused WRITE setIsFocused NOTIFY isFocusedChanged)
    Q_PROPERTY(bool isProcessing READ isProcessing NOTIFY changed)
    Q_PROPERTY(QString contextText READ contextText NOTIFY changed)
    Q_PROPERTY(QString statusDotColor READ statusDotColor NOTIFY changed)

public:
    CompletionInputPresenter(InterviewViewModel& interview, CompletionViewModel& completion,
                             OverlayViewModel& overlay);

    bool showsField() const { return m_viewState.showsField; }
    QString interviewId() const;
    void setInterviewId(const QString& id);
    bool showError() const { return m_viewState.showError; }
    QString tip() const;
    bool isFocused() const { return m_isFocused; }
    void setIsFocused(bool focused);
    bool isProcessing() const { return m_viewState.isProcessing; }
    QString contextText() const { return m_viewState.contextText; }
    QString statusDotColor() const { return m_viewState.statusDotColor; } // the name of a colour of Theme

    // Called when Return is pressed in the field.
    Q_INVOKABLE void submit();

Q_SIGNALS:
    void changed();
    void interviewIdChanged();
    void isFocusedChanged();
    // Asks the field to take the keyboard, also when an earlier request was refused.
    void focusRequested();

private:
    struct ViewState {
        bool showsField = false;
        bool showError = false;
        bool isProcessing = false;
        QString contextText;
        QString statusDotColor;
        bool operator==(const ViewState&) const = default;
    };

    void followInterviewId();
    void takeFocusRequest();
    void update();

    InterviewViewModel& m_interview;
    CompletionViewModel& m_completion;
    OverlayViewModel& m_overlay;
    ViewState m_viewState;
    bool m_isFocused = false;
};

} // namespace corvane

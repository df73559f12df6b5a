#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class CompletionViewModel;
class InterviewViewModel;
class SettingsViewModel;

// The start control: starts, pauses, resumes and retries an interview. When the backend is switched off, it
// starts and stops a recording instead.
class AudioControlPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(QString symbol READ symbol NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(QString tint READ tint NOTIFY changed)
    Q_PROPERTY(QString tip READ tip NOTIFY changed)
    Q_PROPERTY(bool enabled READ enabled NOTIFY changed)
    // True when the interview could not be started; the tip says why.
    Q_PROPERTY(bool failed READ failed NOTIFY changed)

public:
    AudioControlPresenter(InterviewViewModel& interview, CompletionViewModel& completion,
                          SettingsViewModel& settings);

    QString symbol() const { return m_state.symbol; } // empty when a spinner is shown instead
    QString text() const { return m_state.text; }
    QString tint() const { return m_state.tint; } // the name of a colour of Theme
    QString tip() const { return m_state.tip; }
    bool enabled() const { return m_state.enabled; }
    bool failed() const { return m_state.failed; }

    Q_INVOKABLE void press();

Q_SIGNALS:
    void changed();

private:
    struct ButtonState {
        QString symbol;
        QString text;
        QString tint;
        QString tip;
        bool enabled = false;
        bool failed = false;
        bool operator==(const ButtonState&) const = default;
    };

    ButtonState corvaneAudioButton() const;
    ButtonState customAudioButton() const;
    void update();

    InterviewViewModel& m_interview;
    CompletionViewModel& m_completion;
    SettingsViewModel& m_settings;
    ButtonState m_state;
};

} // namespace corvane

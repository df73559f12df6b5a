#pragma once

#include <QByteArray>
#include <QObject>

namespace platform {
class Clipboard;
class Clock;
class Notifications;
} // namespace platform

namespace corvane {

class CompletionViewModel;
class InterviewViewModel;
class ScreenCaptureService;
class SettingsViewModel;

// What becomes of a screenshot: a message with it to the assistant; during an interview, which a message
// would disturb, a picture kept with the conversation; with that switched off, a picture on the clipboard. A
// notice says which it was, or why there is none. Main thread.
class ScreenshotConsumer : public QObject {
    Q_OBJECT

public:
    // Where pictures and notices go on the desktop.
    struct Desktop {
        platform::Clipboard& clipboard;
        platform::Notifications& notifications;
    };

    ScreenshotConsumer(ScreenCaptureService& screenCapture, const SettingsViewModel& settings,
                       const InterviewViewModel& interview, CompletionViewModel& completion, Desktop desktop,
                       const platform::Clock& clock);

private:
    void take(const QByteArray& png);
    void submit(const QByteArray& png);

    const SettingsViewModel& m_settings;
    const InterviewViewModel& m_interview;
    CompletionViewModel& m_completion;
    Desktop m_desktop;
    const platform::Clock& m_clock;
};

} // namespace corvane

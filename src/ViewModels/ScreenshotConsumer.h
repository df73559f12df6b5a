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

// Decides what happens to a screenshot. Normally it is sent to the assistant with a message; during an
// interview, which a message would disturb, it is stored with the conversation; when screenshots are switched
// off, it goes to the clipboard. A notification says what was done, or why there is no picture. Main thread.
class ScreenshotConsumer : public QObject {
    Q_OBJECT

public:
    // What it needs from the desktop.
    struct Dependencies {
        platform::Clipboard& clipboard;
        platform::Notifications& notifications;
    };

    ScreenshotConsumer(ScreenCaptureService& screenCapture, const SettingsViewModel& settings,
                       const InterviewViewModel& interview, CompletionViewModel& completion,
                       Dependencies dependencies, const platform::Clock& clock);

private:
    void take(const QByteArray& png);
    void submit(const QByteArray& png);

    const SettingsViewModel& m_settings;
    const InterviewViewModel& m_interview;
    CompletionViewModel& m_completion;
    Dependencies m_dependencies;
    const platform::Clock& m_clock;
};

} // namespace corvane

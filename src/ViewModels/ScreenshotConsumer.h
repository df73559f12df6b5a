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
class ScreenCaptureService;
class SettingsViewModel;

// What becomes of a screenshot: a message with it to the assistant, or, with that switched off, a picture on
// the clipboard. A notice says which it was, or why there is none. Main thread.
class ScreenshotConsumer : public QObject {
    Q_OBJECT

public:
    // Where pictures and notices go on the desktop.
    struct Desktop {
        platform::Clipboard& clipboard;
        platform::Notifications& notifications;
    };

    ScreenshotConsumer(ScreenCaptureService& screenCapture, const SettingsViewModel& settings,
                       CompletionViewModel& completion, Desktop desktop, const platform::Clock& clock);

private:
    void take(const QByteArray& png);
    void submit(const QByteArray& png);

    const SettingsViewModel& m_settings;
    CompletionViewModel& m_completion;
    Desktop m_desktop;
    const platform::Clock& m_clock;
};

} // namespace corvane

#pragma once

#include <QCoroTask>
#include <QString>

#include <memory>

namespace platform {

class Notifications;

enum class MicrophoneAuthorization { notDetermined, restricted, denied, authorized };

// What the desktop grants and opens for the program.
class SystemAccess {
public:
    virtual ~SystemAccess() = default;

    // Opens an address in what the user has chosen for it; a system settings address opens the nearest page
    // of the running desktop. False when nothing could be started, with one log line.
    virtual bool open(const QString& address) = 0;
    // This desktop guards the microphone at the sound server, so a program always may try.
    virtual MicrophoneAuthorization microphoneAuthorization() const {
        return MicrophoneAuthorization::authorized;
    }
    // Asks the user when nothing is determined yet.
    virtual QCoro::Task<bool> requestMicrophoneAccess() { co_return true; }
    virtual bool screenCaptureAllowed() const { return true; }
    virtual void requestScreenCapture() {}
    // Whether a window can be kept out of screen sharing and recording. X11 has no means: whoever reads the
    // screen reads every window.
    virtual bool canHideWindowsFromCapture() const { return false; }
};

// What could not be opened, and what to do about it, is told by `notifications`, which outlive the access.
std::unique_ptr<SystemAccess> makeSystemAccess(Notifications* notifications = nullptr);

// What to do where nothing opens the sound settings, or the page.
QString soundSettingsAdvice();
QString webAdvice(const QString& address);

} // namespace platform

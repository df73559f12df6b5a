#pragma once

#include <QCoroTask>
#include <QString>

#include <memory>

namespace platform {

class Notifications;

enum class MicrophoneAuthorization { notDetermined, restricted, denied, authorized };

// Asks the desktop for permissions and opens addresses for the program.
class SystemAccess {
public:
    virtual ~SystemAccess() = default;

    // Opens an address in the user's preferred program; a system settings address opens the nearest page of
    // the running desktop. Returns false, and logs a line, if nothing could be started.
    virtual bool open(const QString& address) = 0;
    // Linux desktops control the microphone in the sound server, so a program may always try.
    virtual MicrophoneAuthorization microphoneAuthorization() const {
        return MicrophoneAuthorization::authorized;
    }
    // Asks the user if the authorization is not determined yet.
    virtual QCoro::Task<bool> requestMicrophoneAccess() { co_return true; }
    virtual bool screenCaptureAllowed() const { return true; }
    virtual void requestScreenCapture() {}
    // Returns whether a window can be hidden from screen sharing and recording. X11 cannot do that: a program
    // that reads the screen sees every window.
    virtual bool canHideWindowsFromCapture() const { return false; }
};

// `notifications` tells the user what could not be opened and what to do about it. It must outlive the
// returned object.
std::unique_ptr<SystemAccess> makeSystemAccess(Notifications* notifications = nullptr);

// Return what the user can do if the sound settings or the page cannot be opened.
QString soundSettingsAdvice();
QString webAdvice(const QString& address);

} // namespace platform

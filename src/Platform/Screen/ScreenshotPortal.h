#pragma once

#include <QCoroTask>
#include <QImage>

namespace platform {

// Takes pictures of the whole desktop by org.freedesktop.portal.Screenshot. Main thread.
class ScreenshotPortal {
public:
    // Waits as long as the desktop takes to ask the user. Throws ScreenGrabError.
    static QCoro::Task<QImage> takePicture();
};

} // namespace platform

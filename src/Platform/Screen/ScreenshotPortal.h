#pragma once

#include <QCoroTask>
#include <QImage>

namespace platform {

// Pictures of the whole desktop by org.freedesktop.portal.Screenshot. Main thread.
class ScreenshotPortal {
public:
    // Waits for as long as the desktop asks its user. Throws ScreenGrabError.
    static QCoro::Task<QImage> takePicture();
};

} // namespace platform

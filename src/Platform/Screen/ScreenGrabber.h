#pragma once

#include <QCoroTask>
#include <QImage>
#include <QList>
#include <QSize>

#include <memory>
#include <stdexcept>

namespace platform {

// There is no picture of the screens; the text tells the user why.
class ScreenGrabError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What one screen showed.
struct ScreenPicture {
    QImage image; // in the screen's pixels
    QSize size;   // in points (device-independent pixels)

    double pixelsPerPoint() const { return static_cast<double>(image.width()) / size.width(); }
};

class ScreenGrabber {
public:
    virtual ~ScreenGrabber() = default;

    // What each screen shows at this moment, this program's windows included, in the order of
    // QGuiApplication::screens(). Empty without a display. Throws ScreenGrabError. Main thread.
    virtual QCoro::Task<QList<ScreenPicture>> grabScreens() = 0;
};

// X11 is read from the server. A Wayland desktop keeps its screens from programs, from those on XWayland too:
// there the screenshot portal is asked, which may ask the user.
std::unique_ptr<ScreenGrabber> makeScreenGrabber();

} // namespace platform

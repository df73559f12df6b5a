#pragma once

#include <QCoroTask>
#include <QImage>
#include <QList>
#include <QSize>

#include <memory>
#include <stdexcept>

namespace platform {

// No picture of the screens could be taken; the text tells the user why.
class ScreenGrabError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The picture of one screen.
struct ScreenPicture {
    QImage image; // in the screen's pixels
    QSize size;   // in points (device-independent pixels)

    double pixelsPerPoint() const { return static_cast<double>(image.width()) / size.width(); }
};

class ScreenGrabber {
public:
    virtual ~ScreenGrabber() = default;

    // Takes a picture of each screen, including this program's windows, in the order of
    // QGuiApplication::screens(). Returns an empty list without a display. Throws ScreenGrabError. Main
    // thread.
    virtual QCoro::Task<QList<ScreenPicture>> grabScreens() = 0;
};

// Under X11 the picture is read from the server. A Wayland desktop does not let programs read its screens,
// not even those on XWayland, so the screenshot portal is used, which may ask the user.
std::unique_ptr<ScreenGrabber> makeScreenGrabber();

} // namespace platform

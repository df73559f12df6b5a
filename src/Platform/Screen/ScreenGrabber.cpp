#include "Platform/Screen/ScreenGrabber.h"

#include "Platform/Desktop/WaylandSession.h"
#include "Platform/Screen/ScreenshotPortal.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QRect>
#include <QScreen>

namespace platform {

namespace {

bool isX11() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

ScreenPicture grab(QScreen& screen) {
    auto image = screen.grabWindow(0).toImage();
    if (image.isNull()) {
        throw ScreenGrabError("The display did not give its picture. Try again.");
    }
    image.setDevicePixelRatio(1);
    return {image, screen.size()};
}

// Under X11 Qt gives the corners of screens in pixels, but their sizes in points.
QRect placeOf(const QScreen& screen) {
    const auto points = screen.geometry();
    return isX11() ? QRect(points.topLeft(), points.size() * screen.devicePixelRatio()) : points;
}

// Returns the parts of a picture of the whole desktop that show the screens, whose places may be in any
// common unit.
QList<QImage> cutIntoScreens(const QImage& desktop, const QList<QRect>& screens) {
    QRect all;
    for (const auto& screen : screens) {
        all |= screen;
    }
    QList<QImage> parts;
    for (const auto& screen : screens) {
        const auto across = [&](int x) {
            return qRound(1.0 * (x - all.x()) * desktop.width() / all.width());
        };
        const auto down = [&](int y) {
            return qRound(1.0 * (y - all.y()) * desktop.height() / all.height());
        };
        const QPoint corner(across(screen.x()), down(screen.y()));
        const QPoint end(across(screen.x() + screen.width()), down(screen.y() + screen.height()));
        parts.append(desktop.copy(QRect(corner, end - QPoint(1, 1))));
    }
    return parts;
}

class DesktopScreenGrabber : public ScreenGrabber {
public:
    QCoro::Task<QList<ScreenPicture>> grabScreens() override {
        QList<ScreenPicture> pictures;
        if (isWaylandSession()) {
            auto asking = ScreenshotPortal::takePicture();
            const auto desktop = co_await asking;
            QList<QRect> places;
            for (const auto* screen : QGuiApplication::screens()) {
                places.append(placeOf(*screen));
                pictures.append({{}, screen->size()});
            }
            const auto parts = cutIntoScreens(desktop, places);
            for (qsizetype index = 0; index < parts.size(); ++index) {
                pictures[index].image = parts.at(index);
            }
        } else if (isX11()) {
            for (auto* screen : QGuiApplication::screens()) {
                pictures.append(grab(*screen));
            }
        }
        co_return pictures;
    }
};

} // namespace

std::unique_ptr<ScreenGrabber> makeScreenGrabber() {
    return std::make_unique<DesktopScreenGrabber>();
}

} // namespace platform

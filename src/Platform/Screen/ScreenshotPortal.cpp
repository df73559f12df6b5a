#include "Platform/Screen/ScreenshotPortal.h"

#include "Platform/Core/Background.h"
#include "Platform/Desktop/PortalRequest.h"
#include "Platform/Screen/ScreenGrabber.h"

#include <QFile>
#include <QScopedPointer>
#include <QUrl>

namespace platform {

namespace {

// Returns the path of the picture. Throws ScreenGrabError.
QString pictureFile(const PortalRequest::Answer& answer) {
    const auto file = QUrl(answer.results.value(QStringLiteral("uri")).toString()).toLocalFile();
    if (answer.response == PortalRequest::refused) {
        throw ScreenGrabError(
            "The desktop did not allow the screenshot. Allow it in the desktop's privacy settings.");
    }
    if (answer.response != PortalRequest::success || file.isEmpty()) {
        throw ScreenGrabError("The desktop could not take the screenshot. Try again.");
    }
    return file;
}

ScreenGrabError toGrabError(const PortalError& error) {
    return ScreenGrabError(error.kind == PortalError::Kind::wentAway
                               ? "The desktop's screenshot service went away. Try again."
                               : "This desktop gives programs no screenshots: " + std::string(error.what()));
}

} // namespace

QCoro::Task<QImage> ScreenshotPortal::takePicture() {
    const QString noParentWindow;
    const QScopedPointer<PortalRequest, QScopedPointerDeleteLater> request(
        new PortalRequest(QStringLiteral("Screenshot"), QStringLiteral("Screenshot"), {noParentWindow},
                          {{QStringLiteral("interactive"), false}}));
    QString file;
    try {
        const auto answer = co_await request->answer();
        file = pictureFile(answer);
    } catch (const PortalError& error) {
        throw toGrabError(error);
    }
    // The portal made the file for this request; a picture of the whole desktop must not be left behind.
    auto reading = inBackground([file] {
        const QImage picture(file);
        QFile::remove(file);
        return picture.convertToFormat(QImage::Format_RGB32);
    });
    auto picture = co_await std::move(reading);
    if (picture.isNull()) {
        throw ScreenGrabError("The desktop's screenshot could not be read. Try again.");
    }
    co_return picture;
}

} // namespace platform

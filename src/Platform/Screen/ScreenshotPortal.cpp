#include "ScreenshotPortal.h"

#include "Background.h"
#include "Completion.h"
#include "ScreenGrabber.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QScopedPointer>
#include <QUrl>

namespace platform {

namespace {

const auto portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const auto portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto screenshotInterface = QStringLiteral("org.freedesktop.portal.Screenshot");
const auto requestInterface = QStringLiteral("org.freedesktop.portal.Request");

enum Response : uint { success = 0, refused = 1 };

// One question to the portal: its answer comes as a signal of an object that the portal makes for it.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    explicit PortalRequest(const QString& token)
        : m_gone(portalService, m_bus, QDBusServiceWatcher::WatchForUnregistration) {
        connect(&m_gone, &QDBusServiceWatcher::serviceUnregistered, this,
                [this] { fail("The desktop's screenshot service went away. Try again."); });
        // Listens before it asks, so that no answer is missed.
        listenTo(portalPath + QStringLiteral("/request/") +
                 m_bus.baseService().remove(u':').replace(u'.', u'_') + u'/' + token);
        auto question = QDBusMessage::createMethodCall(portalService, portalPath, screenshotInterface,
                                                       QStringLiteral("Screenshot"));
        question << QString() // no parent window
                 << QVariantMap{{QStringLiteral("handle_token"), token},
                                {QStringLiteral("interactive"), false}};
        auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, &PortalRequest::takeHandle);
    }

    // The file with the picture.
    Completion<QString> answer() const { return m_answer; }

private Q_SLOTS:
    void responded(uint response, const QVariantMap& results) {
        const auto file = QUrl(results.value(QStringLiteral("uri")).toString()).toLocalFile();
        if (response == Response::refused) {
            fail("The desktop did not allow the screenshot. Allow it in the desktop's privacy settings.");
        } else if (response != Response::success || file.isEmpty()) {
            fail("The desktop could not take the screenshot. Try again.");
        } else {
            m_answer.resolve(file);
        }
    }

private:
    void listenTo(const QString& path) {
        m_path = path;
        m_bus.connect(portalService, path, requestInterface, QStringLiteral("Response"), this,
                      SLOT(responded(uint, QVariantMap)));
    }

    void takeHandle(QDBusPendingCallWatcher* watcher) {
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            fail("This desktop gives programs no screenshots: " + reply.error().message().toStdString());
        } else if (reply.value().path() != m_path) {
            // A portal from before the agreement on the path.
            listenTo(reply.value().path());
        }
        watcher->deleteLater();
    }

    void fail(const std::string& text) const { m_answer.fail(ScreenGrabError(text)); }

    QDBusConnection m_bus = QDBusConnection::sessionBus();
    QDBusServiceWatcher m_gone;
    QString m_path;
    const Completion<QString> m_answer;
};

} // namespace

QCoro::Task<QImage> ScreenshotPortal::takePicture() {
    // Its answer resumes this from within its own signal.
    const QScopedPointer<PortalRequest, QScopedPointerDeleteLater> request(
        new PortalRequest(QStringLiteral("screenshot%1").arg(++m_requests)));
    const auto file = co_await request->answer();
    // The file was made for this answer; a picture of the whole desktop is not left lying about.
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

#include "ScreenshotPortal.moc"

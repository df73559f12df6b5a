// A new version: offered, fetched, verified and handed to the package installer.
#include "sandbox/tour/TourScript.h"

#include "sandbox/tour/TourRoles.h"

#include "Services/UpdaterService.h"

#include <QProcess>

namespace corvane {

using namespace tourroles;

QCoro::Task<void> TourScript::installUpdate() {
    m_transcript.chapter(QStringLiteral("An update"));
    const auto copy = m_desktop.installFakePackageTools();
    auto& service = m_app->appDelegate().updaterService();
    co_await apply(QStringLiteral("offer-update"), QJsonObject());
    m_app->appDelegate().showDashboard();
    co_await click(QStringLiteral("Settings"), QStringLiteral("Pages"));
    co_await click(QStringLiteral("Check Now"));
    const Condition offered = [this] { return m_hands.sees(QStringLiteral("Download")); };
    co_await until(QStringLiteral("the new version is offered"), offered);
    const auto version = service.state().version;
    m_transcript.say(program, QStringLiteral("offers version ") + version);
    co_await picture(QStringLiteral("update-found"));
    co_await click(QStringLiteral("Download"));
    const Condition ready = [this] { return m_hands.sees(QStringLiteral("Install")); };
    co_await until(QStringLiteral("the package is fetched and verified"), ready);
    co_await picture(QStringLiteral("update-ready"));
    co_await click(QStringLiteral("Install"));
    const Condition installed = [this] { return m_hands.sees(QStringLiteral("Restart Now")); };
    co_await until(QStringLiteral("the package is installed"), installed);
    co_await picture(QStringLiteral("update-installed"));
    QProcess reader;
    reader.start(QStringLiteral("dpkg-deb"), {QStringLiteral("--field"), copy, QStringLiteral("Version")});
    co_await until(QStringLiteral("the package is read"),
                   [&reader] { return reader.state() == QProcess::NotRunning; });
    require(QString::fromUtf8(reader.readAllStandardOutput()).trimmed() == version,
            QStringLiteral("the package manager has got the package of that version"));
    m_transcript.say(program, QStringLiteral("has had it verified and installed"));
    co_await click(QStringLiteral("Later"));
    m_app->appDelegate().toggleDashboard();
}

} // namespace corvane

#include "Platform/Desktop/SystemAccess.h"

#include "Platform/Core/Log.h"
#include "Platform/Desktop/Notifications.h"
#include "Platform/Desktop/ProcessLimits.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include <array>
#include <chrono>

#include <unistd.h>

namespace platform {

namespace {

struct SettingsPage {
    const char* address;
    const char* desktop; // as XDG_CURRENT_DESKTOP names it; empty for any
    const char* program;
    const char* argument;
};

constexpr auto microphonePage = "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
constexpr auto screenPage = "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

// The nearest page of each desktop, best first; programs that are not installed are skipped. Both addresses
// lead to sound settings here: what can be heard, and from which device.
constexpr std::array settingsPages{
    SettingsPage{microphonePage, "GNOME", "gnome-control-center", "microphone"},
    SettingsPage{microphonePage, "KDE", "systemsettings", "kcm_pulseaudio"},
    SettingsPage{microphonePage, "X-Cinnamon", "cinnamon-settings", "sound"},
    SettingsPage{microphonePage, "MATE", "mate-volume-control", ""},
    SettingsPage{microphonePage, "XFCE", "pavucontrol", "--tab=4"},
    SettingsPage{microphonePage, "", "pavucontrol", "--tab=4"},
    SettingsPage{microphonePage, "", "pavucontrol-qt", "--tab=4"},
    SettingsPage{screenPage, "GNOME", "gnome-control-center", "sound"},
    SettingsPage{screenPage, "KDE", "systemsettings", "kcm_pulseaudio"},
    SettingsPage{screenPage, "X-Cinnamon", "cinnamon-settings", "sound"},
    SettingsPage{screenPage, "MATE", "mate-volume-control", ""},
    SettingsPage{screenPage, "", "pavucontrol", "--tab=3"},
    SettingsPage{screenPage, "", "pavucontrol-qt", "--tab=3"},
};

// xdg-open fails within this time if there is no browser; an exit after it is that of a browser.
constexpr std::chrono::seconds longestSearch{10};

bool startProgram(const QString& program, const QStringList& arguments) {
    if (QStandardPaths::findExecutable(program).isEmpty()) {
        return false;
    }
    return startUserProgram(program, arguments);
}

// An address is not always a web page: an update is a package on the disk.
QString openingAdvice(const QString& address) {
    const QUrl url(address);
    return url.isLocalFile()
               ? QStringLiteral("No program on this system opens the file %1. Open it yourself.")
                     .arg(url.toLocalFile())
               : webAdvice(address);
}

class DesktopAccess : public SystemAccess {
public:
    explicit DesktopAccess(Notifications* notifications)
        : m_notifications(notifications) {}
    ~DesktopAccess() override {
        for (auto* process : m_starters.findChildren<QProcess*>()) {
            if (process->state() != QProcess::NotRunning) {
                process->setParent(nullptr);
            }
        }
    }

    bool open(const QString& address) override {
        const bool isSettings = address.startsWith(QLatin1String("x-apple.systempreferences:"));
        const bool opened = isSettings ? openSettings(address) : openPage(address);
        if (!opened) {
            refuse(address, isSettings ? soundSettingsAdvice() : openingAdvice(address));
        }
        return opened;
    }

private:
    // xdg-open finds out whether there is a browser only after it has started. The browser may run as its
    // child and outlives this process.
    bool openPage(const QString& address) {
        const auto starter = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
        if (starter.isEmpty()) {
            return false;
        }
        auto* process = new QProcess(&m_starters);
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        process->setChildProcessModifier([] {
            ::setsid();
            restoreSessionLimits();
        });
        const QDeadlineTimer search(longestSearch);
        QObject::connect(process, &QProcess::finished, &m_starters,
                         [this, address, search](int code, QProcess::ExitStatus) {
                             if (code != 0 && !search.hasExpired()) {
                                 refuse(address, openingAdvice(address));
                             }
                         });
        QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
        process->start(starter, {address});
        const bool started = process->waitForStarted();
        if (!started) {
            process->deleteLater();
        }
        return started;
    }
    void refuse(const QString& address, const QString& advice) {
        logLine(QStringLiteral("[App] No program on this desktop opens %1").arg(address));
        if (m_notifications) {
            m_notifications->show(QStringLiteral("Nothing was opened"), advice);
        }
    }
    static bool openSettings(const QString& address) {
        const auto desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':');
        for (const auto& page : settingsPages) {
            const auto desktop = QLatin1String(page.desktop);
            if (address != QLatin1String(page.address) ||
                (!desktop.isEmpty() && !desktops.contains(desktop))) {
                continue;
            }
            QStringList arguments;
            if (*page.argument) {
                arguments.append(QLatin1String(page.argument));
            }
            if (startProgram(QLatin1String(page.program), arguments)) {
                return true;
            }
        }
        return false;
    }

    Notifications* m_notifications;
    QObject m_starters;
};

} // namespace

QString soundSettingsAdvice() {
    return QStringLiteral("This desktop has no sound settings to open. Install pavucontrol and try again.");
}

QString webAdvice(const QString& address) {
    return QStringLiteral("No web browser could be opened. Go to %1 in your own browser.").arg(address);
}

std::unique_ptr<SystemAccess> makeSystemAccess(Notifications* notifications) {
    return std::make_unique<DesktopAccess>(notifications);
}

} // namespace platform

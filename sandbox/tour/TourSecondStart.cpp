// The end of the tour: the installed program is started again on the same desktop, and what it leaves behind
// is checked.
#include "sandbox/tour/TourScript.h"

#include "Services/ClerkAuthService.h"
#include "ViewModels/InterviewViewModel.h"

#include <QDirIterator>
#include <QFile>

namespace corvane {

namespace {

constexpr auto otherInterviewId = "7a1d4e90-2c6b-4f38-9e55-0b8c3d7f1a42";

} // namespace

QCoro::Task<void> TourScript::startAgain() {
    m_transcript.chapter(QStringLiteral("Second start, as a process of its own"));
    m_app.reset();

    QProcess first;
    first.setProcessChannelMode(QProcess::MergedChannels);
    QByteArray output;
    QObject::connect(&first, &QProcess::readyRead, &first, [&first, &output] { output += first.readAll(); });
    first.start(m_options.program);
    co_await until(QStringLiteral("the program is still signed in and connects"),
                   [&output] { return output.contains("confirmed") || output.contains("Session resumed"); });
    m_transcript.say(QStringLiteral("program"), QStringLiteral("is still signed in and has its session"));

    QProcess second;
    second.start(m_options.program);
    co_await until(QStringLiteral("a further start hands over and ends"),
                   [&second] { return second.state() == QProcess::NotRunning; });
    require(second.exitCode() == 0, QStringLiteral("a further start ends well"));
    m_transcript.say(QStringLiteral("program"),
                     QStringLiteral("a further start has brought the first one forward"));

    co_await openLink(QLatin1String(otherInterviewId));
    co_await until(QStringLiteral("a link starts the next interview"), [&output] {
        return output.contains("Sent interview_id") && output.contains("Starting dual audio forwarding");
    });
    m_transcript.say(QStringLiteral("program"), QStringLiteral("runs the interview of the next link"));
    first.terminate();
    co_await until(QStringLiteral("the program ends when asked to"),
                   [&first] { return first.state() == QProcess::NotRunning; });
    require(first.exitStatus() == QProcess::NormalExit && first.exitCode() == 0,
            QStringLiteral("it ends well"));
    m_log += QString::fromUtf8(output).split(u'\n');
}

// Checks that no code, token or key is in the log or in a file, and that no file can be read by other users.
void TourScript::checkSecrecy() {
    m_transcript.chapter(QStringLiteral("What is left behind"));
    const auto log = m_log.join(u'\n');
    for (const auto& secret : m_secrets) {
        require(!log.contains(secret), QStringLiteral("no secret in the log"));
    }
    require(!log.contains(QLatin1String("eyJ")), QStringLiteral("no token in the log"));
    int files = 0;
    for (const auto* folder : {"config", "data", "cache", "state"}) {
        QDirIterator entries(m_desktop.folder() + u'/' + QLatin1String(folder), QDir::Files | QDir::Hidden,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            QFile file(entries.next());
            if (!file.fileName().contains(QLatin1String("corvane"))) {
                continue;
            }
            ++files;
            constexpr auto others =
                QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
            require(!(file.permissions() & others),
                    QStringLiteral("%1 is the user's alone").arg(file.fileName()));
            require(file.open(QIODevice::ReadOnly), QStringLiteral("%1 can be read").arg(file.fileName()));
            const auto content = file.readAll();
            for (const auto& secret : m_secrets) {
                require(!content.contains(secret.toUtf8()),
                        QStringLiteral("no secret in %1").arg(file.fileName()));
            }
            require(!content.contains("eyJ"), QStringLiteral("no token in %1").arg(file.fileName()));
        }
    }
    require(files > 0, QStringLiteral("the program has stored something"));
    m_transcript.say(
        QStringLiteral("tour"),
        QStringLiteral("no code, token or key in %1 log lines and %2 files; all files are the user's alone")
            .arg(m_log.size())
            .arg(files));
}

} // namespace corvane

#include "sandbox/tour/TourDesktop.h"

#include "App/ApplicationId.h"
#include "Platform/Desktop/ApplicationCall.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QUrl>

#include <stdexcept>

namespace {

constexpr int startTimeout = 10'000; // ms

[[noreturn]] void fail(const QString& text) {
    throw std::runtime_error(text.toStdString());
}

QString portOf(const QString& url) {
    return QString::number(QUrl(url).port());
}

} // namespace

TourDesktop::TourDesktop(SoundServerKind sound)
    : m_sound(sound) {}

TourDesktop::~TourDesktop() {
    stopSandbox();
}

void TourDesktop::start(const QString& sandboxProgram, const QString& busAddress) {
    m_sandboxProgram = sandboxProgram;
    if (!busAddress.isEmpty()) {
        m_session.joinBus(busAddress);
    }
    if ((busAddress.isEmpty() && !m_session.startBus()) || !startSecrets()) {
        fail(QStringLiteral("No private session: dbus-daemon or gnome-keyring-daemon did not start."));
    }
    m_sound.start();
    m_sound.useInThisProcess();
    plugMicrophone();
    plugSpeakers();
    startSandbox();
    const auto environment = m_ready.value(QStringLiteral("environment")).toObject();
    for (auto variable = environment.begin(); variable != environment.end(); ++variable) {
        qputenv(variable.key().toUtf8().constData(), variable->toString().toUtf8());
    }
    qputenv("no_proxy", "127.0.0.1,localhost");
    qputenv("CORVANE_APPLICATION_INFO", writeApplicationInfo().toUtf8());
}

bool TourDesktop::startSecrets() {
    return m_session.startKeyring(QStringLiteral("tour"));
}

void TourDesktop::plugSpeakers() {
    m_sound.addSink(QStringLiteral("speakers"));
    m_sound.setDefaultSink(QStringLiteral("speakers"));
}

void TourDesktop::plugMicrophone() {
    m_sound.addMicrophone(QStringLiteral("headset"),
                          {.rate = 44100, .channels = 1, .samples = QStringLiteral("s16le")});
    m_sound.setDefaultSource(QStringLiteral("headset"));
}

void TourDesktop::startSandbox() {
    QStringList arguments{QStringLiteral("--folder"), filePath(QStringLiteral("sandbox")),
                          QStringLiteral("--assessment-every"), QStringLiteral("60")};
    if (!m_ready.isEmpty()) {
        const auto backend = m_ready.value(QStringLiteral("backend")).toObject();
        arguments +=
            {QStringLiteral("--proxy-port"),   portOf(m_ready.value(QStringLiteral("proxy")).toString()),
             QStringLiteral("--https-port"),   portOf(backend.value(QStringLiteral("tls")).toString()),
             QStringLiteral("--http-port"),    portOf(backend.value(QStringLiteral("plain")).toString()),
             QStringLiteral("--control-port"), portOf(m_ready.value(QStringLiteral("control")).toString())};
    }
    m_sandbox.setProcessChannelMode(QProcess::SeparateChannels);
    m_sandbox.setStandardErrorFile(filePath(QStringLiteral("sandbox.log")));
    m_sandbox.start(m_sandboxProgram, arguments);
    while (!m_sandbox.canReadLine()) {
        if (!m_sandbox.waitForReadyRead(startTimeout)) {
            fail(QStringLiteral("The sandbox did not start: ") + m_sandbox.errorString());
        }
    }
    m_ready = QJsonDocument::fromJson(m_sandbox.readLine()).object();
    if (!m_ready.value(QStringLiteral("ready")).toBool()) {
        fail(QStringLiteral("The sandbox did not report that it is ready."));
    }
}

void TourDesktop::stopSandbox() {
    if (m_sandbox.state() != QProcess::NotRunning) {
        m_sandbox.terminate();
        m_sandbox.waitForFinished(startTimeout);
    }
}

QString TourDesktop::writeApplicationInfo() {
    const auto signIn = m_ready.value(QStringLiteral("sign_in")).toObject();
    const auto updates = m_ready.value(QStringLiteral("updates")).toObject();
    const QJsonObject info{
        {QStringLiteral("CFBundleShortVersionString"), QStringLiteral(CORVANE_VERSION)},
        {QStringLiteral("CFBundleVersion"), QStringLiteral("1")},
        {QStringLiteral("CLERK_PUBLISHABLE_KEY"),
         signIn.value(QStringLiteral("development")).toObject().value(QStringLiteral("publishable_key"))},
        {QStringLiteral("CORVANE_DEFAULT_ENDPOINT"),
         m_ready.value(QStringLiteral("backend")).toObject().value(QStringLiteral("url"))},
        {QStringLiteral("SUFeedURL"), updates.value(QStringLiteral("feed"))},
        {QStringLiteral("SUPublicEDKey"), updates.value(QStringLiteral("public_key"))},
    };
    const auto path = filePath(QStringLiteral("application-info.json"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(info).toJson()) < 0) {
        fail(QStringLiteral("Cannot write ") + path);
    }
    return path;
}

QString TourDesktop::speech(const QString& name, const QString& text) {
    const auto path = filePath(name + QStringLiteral(".wav"));
    const int status =
        QProcess::execute(QStringLiteral("espeak-ng"),
                          {QStringLiteral("-s"), QStringLiteral("170"), QStringLiteral("-w"), path, text});
    if (status != 0) {
        fail(QStringLiteral("espeak-ng could not speak."));
    }
    return path;
}

QString TourDesktop::installFakePackageTools() {
    const auto copy = filePath(QStringLiteral("installed.deb"));
    const auto write = [this](const QString& name, const QString& script) {
        QFile file(filePath(QStringLiteral("packages/")) + name);
        if (!QDir().mkpath(filePath(QStringLiteral("packages"))) || !file.open(QIODevice::WriteOnly) ||
            file.write("#!/bin/sh\n" + script.toUtf8()) < 0 ||
            !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
            fail(QStringLiteral("Cannot write ") + name);
        }
    };
    write(QStringLiteral("pkexec"), QStringLiteral("exec \"$@\"\n"));
    write(QStringLiteral("apt-get"),
          QStringLiteral("for package; do :; done\ncp \"$package\" '%1'\n").arg(copy));
    qputenv("PATH", filePath(QStringLiteral("packages")).toUtf8() + ':' + qgetenv("PATH"));
    return copy;
}

QStringList TourDesktop::openLinkArguments(const QString& interviewId) {
    return {QStringLiteral("call"),
            QStringLiteral("--session"),
            QStringLiteral("--dest"),
            QLatin1String(corvane::applicationId),
            QStringLiteral("--object-path"),
            platform::applicationObjectPath(QLatin1String(corvane::applicationId)),
            QStringLiteral("--method"),
            QStringLiteral("org.freedesktop.Application.Open"),
            QStringLiteral("['corvane://interview/%1']").arg(interviewId),
            QStringLiteral("{}")};
}

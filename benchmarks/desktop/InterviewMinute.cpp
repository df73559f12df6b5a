// A minute of interview: both streams over TLS to the sandbox while both sides speak, with the windows on a
// private display. Compared with a minute of talking in Mumble through a server on loopback, if it is
// installed.
//   InterviewMinute [rounds]
#include "App/AppDelegate.h"
#include "Services/ClerkAuthService.h"
#include "benchmarks/Figures.h"
#include "benchmarks/ProcessUse.h"
#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/PrivateDisplay.h"
#include "sandbox/tour/TourDesktop.h"
#include "sandbox/tour/TourRoles.h"
#include "tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <cstdio>

using namespace corvane;

namespace {

constexpr int minute = 60'000;       // ms
constexpr int warmUp = 10'000;       // ms, after the first sound
constexpr int settling = 14'000;     // ms; a text cursor blinks for ten seconds
constexpr int eventTimeout = 30'000; // ms
constexpr int mumblePort = 64'799;

constexpr double memoryLimit = 90;    // MB, talking
constexpr double shareOfMumble = 0.5; // of its processor time

struct Minute {
    ProcessUse idle; // of `settling`
    ProcessUse talking;
};

ProcessUse measureUse(qint64 process, int time) {
    const auto before = ProcessUse::of(process);
    QThread::msleep(static_cast<unsigned long>(time));
    return ProcessUse::of(process) - before;
}

bool says(const QString& path, const QByteArray& words) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.readAll().contains(words);
}

void awaitCondition(const char* what, const std::function<bool()>& condition) {
    for (int waited = 0; !condition(); waited += 100) {
        if (waited > eventTimeout) {
            throw std::runtime_error(std::string("Did not happen: ") + what);
        }
        QThread::msleep(100);
    }
}

// Lets both sides of the call speak for longer than the measurement takes.
class Conversation {
public:
    explicit Conversation(TourDesktop& desktop)
        : m_file(desktop.speech(QStringLiteral("talk"), talk.toString().repeated(14)))
        , m_interviewer(desktop.interviewerSays(m_file))
        , m_candidate(desktop.candidateSays(m_file)) {}

private:
    static constexpr QStringView talk =
        u"I would begin with the readers, and ask how old an answer may be. Then I would measure. ";

    QString m_file;
    SoundPlayback m_interviewer;
    SoundPlayback m_candidate;
};

ProcessUse measureTalking(TourDesktop& desktop, qint64 process) {
    const Conversation conversation(desktop);
    QThread::msleep(warmUp);
    return measureUse(process, minute);
}

ProcessUse measureIdling(qint64 process) {
    QThread::msleep(settling);
    return measureUse(process, settling);
}

QProcessEnvironment environmentOn(const PrivateDisplay& display) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display.name());
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return environment;
}

// Stores the sign-in in the secret store of the desktop.
void signIn() {
    AppDelegate app(PlatformServices::ofThisDesktop());
    app.applicationDidFinishLaunching();
    waitFor(app.clerkAuthService().startSignIn(QStringLiteral("interviewer@example.com")));
    waitFor(app.clerkAuthService().verifyCode(platform::Secret(QStringLiteral("424242"))));
    if (!app.clerkAuthService().isSignedIn()) {
        throw std::runtime_error("Nobody is signed in.");
    }
}

Minute interviewMinute(TourDesktop& desktop, const PrivateDisplay& display) {
    const auto output = desktop.folder() + QStringLiteral("/program");
    QFile::remove(output);
    ChildProcess program;
    program.start(QCoreApplication::applicationDirPath() + QStringLiteral("/corvane-lumetra"), {},
                  environmentOn(display), output);
    awaitCondition("a session",
                   [&] { return says(output, "session confirmed") || says(output, "Session resumed"); });
    const auto idle = measureIdling(program.processId());
    ChildProcess launcher;
    launcher.start(QStringLiteral("gdbus"),
                   TourDesktop::openLinkArguments(QLatin1String(tourroles::interviewId)),
                   environmentOn(display), desktop.folder() + QStringLiteral("/launcher"));
    awaitCondition("the interview's sound", [&] { return says(output, "Starting dual audio forwarding"); });
    return {idle, measureTalking(desktop, program.processId())};
}

void writeFile(const QString& path, const QByteArray& text) {
    QFile file(path);
    QDir().mkpath(QFileInfo(path).path());
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        throw std::runtime_error("Cannot write " + path.toStdString());
    }
}

// Mumble sends sound without a pause, as our program does.
Minute mumbleMinute(TourDesktop& desktop, const PrivateDisplay& display, const QString& mumble,
                    const QString& server) {
    const auto folder = desktop.folder() + QStringLiteral("/mumble");
    const auto environment = environmentOn(display);
    const auto configuration = environment.value(QStringLiteral("XDG_CONFIG_HOME"));
    writeFile(configuration + QStringLiteral("/Mumble/Mumble.conf"),
              "[General]\nlastupdate=3\n[audio]\ntransmit=0\ninput=PulseAudio\noutput=PulseAudio\n"
              "headphone=true\n");
    writeFile(folder + QStringLiteral("/server.ini"),
              QByteArray("dbus=\nice=\nhost=127.0.0.1\nusers=5\nbonjour=false\nlogfile=\nuname=root\nport=") +
                  QByteArray::number(mumblePort) + "\ndatabase=" + folder.toUtf8() + "/server.sqlite\n");
    const auto serverOutput = folder + QStringLiteral("/server");
    QFile::remove(serverOutput);
    ChildProcess murmur;
    murmur.start(server,
                 {QStringLiteral("-fg"), QStringLiteral("-ini"), folder + QStringLiteral("/server.ini")},
                 environment, serverOutput);
    awaitCondition("Mumble's server", [&] { return says(serverOutput, "Not registering"); });
    ChildProcess client;
    client.start(mumble, {QStringLiteral("mumble://someone@127.0.0.1:%1/").arg(mumblePort)}, environment,
                 folder + QStringLiteral("/client"));
    QThread::msleep(5000);
    // Answers its questions: whether to create a certificate, and whether to trust that of the server.
    display.xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
    awaitCondition("Mumble's connection", [&] {
        display.xdotool({QStringLiteral("key"), QStringLiteral("alt+y")});
        return says(serverOutput, "Authenticated");
    });
    const auto idle = measureIdling(client.processId());
    return {idle, measureTalking(desktop, client.processId())};
}

template<typename What>
double medianOf(const std::vector<Minute>& minutes, What what) {
    std::vector<double> values;
    std::ranges::transform(minutes, std::back_inserter(values), what);
    return median(std::move(values));
}

double talkingMemory(const Minute& each) {
    return each.talking.resident;
}
double talkingTime(const Minute& each) {
    return each.talking.processorTime;
}

void print(const char* name, const std::vector<Minute>& minutes) {
    if (minutes.empty()) {
        std::printf("| %s | not measured | | | | |\n", name);
        return;
    }
    const auto perSecond = [](double switches, int time) { return switches * 1000 / time; };
    std::printf(
        "| %s | %.1f MB | %.1f | %.1f MB | %.0f ms | %.0f |\n", name,
        medianOf(minutes, [](const Minute& each) { return each.idle.resident; }),
        perSecond(medianOf(minutes, [](const Minute& each) { return each.idle.switches; }), settling),
        medianOf(minutes, talkingMemory), medianOf(minutes, talkingTime),
        perSecond(medianOf(minutes, [](const Minute& each) { return each.talking.switches; }), minute));
}

bool isWithinLimits(const std::vector<Minute>& ours, const std::vector<Minute>& theirs) {
    return !ours.empty() && medianOf(ours, talkingMemory) <= memoryLimit &&
           (theirs.empty() || medianOf(ours, talkingTime) <= shareOfMumble * medianOf(theirs, talkingTime));
}

} // namespace

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 1;
    const auto mumble = QStandardPaths::findExecutable(QStringLiteral("mumble"));
    const auto server = QStandardPaths::findExecutable(
        QStringLiteral("murmurd"), {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")});
    std::vector<Minute> ours;
    std::vector<Minute> theirs;
    try {
        TourDesktop desktop;
        desktop.start(QCoreApplication::applicationDirPath() + QStringLiteral("/corvane-sandbox"));
        const PrivateDisplay display({1280, 900}, PrivateDisplay::Manager::openbox);
        QGuiApplication::setApplicationName(QStringLiteral("Corvane Lumetra"));
        signIn();
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(interviewMinute(desktop, display));
            if (!mumble.isEmpty() && !server.isEmpty()) {
                theirs.push_back(mumbleMinute(desktop, display, mumble, server));
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    std::printf("| | resident, connected | its wake-ups a second | resident, talking | processor time of a "
                "minute | wake-ups a second |\n|---|---|---|---|---|---|\n");
    print("Corvane Lumetra", ours);
    print("Mumble", theirs);
    return isWithinLimits(ours, theirs) ? 0 : 1;
}

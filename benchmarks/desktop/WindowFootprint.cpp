// Start, memory and idleness of the program, beside a bare Qt Quick window and beside Mumble, a Qt voice
// client, on a private display, session and sound server each time.
//   WindowFootprint [rounds]
#include "ChildProcess.h"
#include "PrivateDisplay.h"
#include "PrivateSession.h"
#include "PrivateSound.h"
#include "Sight.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace {

constexpr int patience = 20'000; // ms
constexpr int settling = 4'000;  // ms after the first paint
constexpr int idling = 10'000;   // ms

struct Footprint {
    double firstPaint = 0;    // ms
    double resident = 0;      // MB
    double proportional = 0;  // MB
    double processorTime = 0; // ms while idle
    double switches = 0;      // voluntary ones a second while idle
};

// The number behind `name` in a file of the proc file system; 0 without one.
double field(const QString& path, const QByteArray& name) {
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (const auto& line : file.readAll().split('\n')) {
            if (line.startsWith(name)) {
                return line.mid(name.size()).trimmed().split(' ').first().toDouble();
            }
        }
    }
    return 0;
}

QString procFolder(qint64 process) {
    return QStringLiteral("/proc/%1/").arg(process);
}

double processorMilliseconds(qint64 process) {
    QFile file(procFolder(process) + QStringLiteral("stat"));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const auto text = file.readAll();
    const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    constexpr double millisecondsPerTick = 10; // USER_HZ
    return (fields.at(11).toDouble() + fields.at(12).toDouble()) * millisecondsPerTick;
}

double voluntarySwitches(qint64 process) {
    double sum = 0;
    const QDir threads(procFolder(process) + QStringLiteral("task"));
    for (const auto& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        sum += field(threads.filePath(thread) + QStringLiteral("/status"), "voluntary_ctxt_switches:");
    }
    return sum;
}

Footprint measure(const QString& program, const QStringList& arguments) {
    PrivateSession session;
    if (!session.startBus() || !session.startKeyring(QStringLiteral("benchmark"))) {
        throw std::runtime_error("No private session.");
    }
    PrivateSound sound;
    sound.start();
    sound.addSink(QStringLiteral("speakers"));
    const PrivateDisplay display({1280, 900}, PrivateDisplay::Manager::none);
    auto environment = sound.environment();
    environment.insert(QStringLiteral("DISPLAY"), display.name());
    const Sight sight(display.name());

    Footprint result;
    ChildProcess process;
    QElapsedTimer time;
    time.start();
    process.start(program, arguments, environment, session.folder() + QStringLiteral("/output"));
    while (!sight.isPainted()) {
        if (time.hasExpired(patience) || !process.isRunning()) {
            throw std::runtime_error(program.toStdString() + " painted no window.");
        }
    }
    result.firstPaint = static_cast<double>(time.nsecsElapsed()) / 1e6;
    QThread::msleep(settling);
    const auto id = process.processId();
    result.resident = field(procFolder(id) + QStringLiteral("status"), "VmRSS:") / 1024;
    result.proportional = field(procFolder(id) + QStringLiteral("smaps_rollup"), "Pss:") / 1024;
    const auto busyBefore = processorMilliseconds(id);
    const auto switchesBefore = voluntarySwitches(id);
    QThread::msleep(idling);
    result.processorTime = processorMilliseconds(id) - busyBefore;
    result.switches = (voluntarySwitches(id) - switchesBefore) * 1000 / idling;
    return result;
}

double median(std::vector<Footprint>& rounds, double Footprint::*what) {
    std::ranges::sort(rounds, {}, what);
    return rounds[rounds.size() / 2].*what;
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const int count = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 5;
    const auto folder = QCoreApplication::applicationDirPath();
    struct Peer {
        const char* name;
        QString program;
    };
    const std::vector<Peer> peers{
        {"bare Qt Quick window", folder + QStringLiteral("/BareQuickWindow")},
        {"Corvane Lumetra", folder + QStringLiteral("/corvane-lumetra")},
        {"Mumble", QStandardPaths::findExecutable(QStringLiteral("mumble"))},
    };
    std::printf("| | first painted window | resident / proportional | idle, 10 s of processor time | "
                "wake-ups a second |\n"
                "|---|---|---|---|---|\n");
    for (const auto& [name, program] : peers) {
        std::vector<Footprint> rounds;
        try {
            for (int round = 0; round < count && !program.isEmpty(); ++round) {
                rounds.push_back(measure(program, {}));
            }
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: %s\n", name, error.what());
        }
        if (rounds.empty()) {
            std::printf("| %s | not measured | | | |\n", name);
            continue;
        }
        std::printf("| %s | %.0f ms | %.1f / %.1f MB | %.0f ms | %.1f |\n", name,
                    median(rounds, &Footprint::firstPaint), median(rounds, &Footprint::resident),
                    median(rounds, &Footprint::proportional), median(rounds, &Footprint::processorTime),
                    median(rounds, &Footprint::switches));
        std::fflush(stdout);
    }
    return 0;
}

// Start-up time, memory and idle activity of the program, compared with a bare Qt Quick window and with
// Mumble, a Qt voice client, each on a private display, session and sound server.
//   WindowFootprint [rounds]
#include "benchmarks/Figures.h"
#include "benchmarks/ProcessUse.h"
#include "benchmarks/desktop/DisplayProbe.h"
#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/PrivateDisplay.h"
#include "sandbox/desktop/PrivateSession.h"
#include "sandbox/desktop/PrivateSound.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <stdexcept>

#include <unistd.h>

namespace {

constexpr int startTimeout = 20'000; // ms
constexpr int settling = 14'000;     // ms after the first paint; a text cursor blinks for ten seconds
constexpr int pollInterval = 2;      // ms between looks at the display, which cost its server time
constexpr int idling = 10'000;       // ms

// The limits of the program.
constexpr double timesBareStart = 1.6;
constexpr double shareOfMumbleStart = 1.0 / 6;
constexpr double memoryLimit = 75; // MB
constexpr double wakeUpLimit = 2;  // a second

struct Peer {
    const char* name;
    QString program;
    std::vector<double> firstStart = {}; // ms to the first painted window, as a new user
    std::vector<double> nextStart = {};  // the same user again
    std::vector<double> coldStart = {};  // with none of its files cached
    ProcessUse idle = {};                // of `idling`
    double proportional = 0;             // MB

    double wakeUps() const { return idle.switches * 1000 / idling; } // a second
};

// Drops the cached files. Only a privileged process may do that.
bool forgetFiles() {
    ::sync();
    QFile file(QStringLiteral("/proc/sys/vm/drop_caches"));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write("3") == 1;
}

// A desktop on which the program has never run.
struct FreshDesktop {
    PrivateSession session;
    PrivateSound sound;
    const PrivateDisplay display{{1280, 900}, PrivateDisplay::Manager::none};

    FreshDesktop() {
        if (!session.startBus() || !session.startKeyring(QStringLiteral("benchmark"))) {
            throw std::runtime_error("No private session.");
        }
        sound.start();
        sound.addSink(QStringLiteral("speakers"));
    }
};

// Starts a program and returns the milliseconds until a window is painted.
double start(ChildProcess& process, const Peer& peer, const FreshDesktop& desktop) {
    auto environment = desktop.sound.environment();
    environment.insert(QStringLiteral("DISPLAY"), desktop.display.name());
    const DisplayProbe probe(desktop.display.name());
    QElapsedTimer time;
    time.start();
    process.start(peer.program, {}, environment, desktop.session.folder() + QStringLiteral("/output"));
    while (!probe.isPainted()) {
        if (time.hasExpired(startTimeout) || !process.isRunning()) {
            throw std::runtime_error(peer.program.toStdString() + " painted no window.");
        }
        QThread::msleep(pollInterval);
    }
    return static_cast<double>(time.nsecsElapsed()) / 1e6;
}

double start(const Peer& peer, const FreshDesktop& desktop) {
    ChildProcess process;
    return start(process, peer, desktop);
}

ProcessUse watch(qint64 id) {
    QThread::msleep(settling);
    const auto before = ProcessUse::of(id);
    QThread::msleep(idling);
    return ProcessUse::of(id) - before;
}

void measure(Peer& peer, bool idleToo) {
    // The previous program has left the files that both share in the cache. A first start should also find
    // its own files there, or it would be partly a cold start.
    start(peer, FreshDesktop());
    const FreshDesktop desktop;
    {
        ChildProcess process;
        peer.firstStart.push_back(start(process, peer, desktop));
        if (idleToo) {
            peer.idle = watch(process.processId());
            peer.proportional = proportionalMemory(process.processId());
        }
    }
    peer.nextStart.push_back(start(peer, desktop));
    if (forgetFiles()) {
        peer.coldStart.push_back(start(peer, desktop));
    }
}

QString medianText(const std::vector<double>& values) {
    return values.empty() ? QStringLiteral("-") : QStringLiteral("%1 ms").arg(median(values), 0, 'f', 0);
}

using Starts = std::vector<double> Peer::*;
constexpr std::array<Starts, 3> kindsOfStart{&Peer::firstStart, &Peer::nextStart, &Peer::coldStart};

// Returns how many times as long the first takes, in pairs from the same round, since a slow machine affects
// both.
double ratio(const Peer& ours, const Peer& other, Starts starts) {
    std::vector<double> ratios;
    std::ranges::transform(ours.*starts, other.*starts, std::back_inserter(ratios), std::divides());
    return median(std::move(ratios));
}

bool startsWithin(const Peer& ours, double times, const Peer& other) {
    return std::ranges::all_of(kindsOfStart,
                               [&](Starts starts) { return ratio(ours, other, starts) <= times; });
}

bool isWithinLimits(const Peer& ours, const Peer& bare, const Peer* mumble) {
    return !ours.nextStart.empty() && startsWithin(ours, timesBareStart, bare) &&
           (!mumble || startsWithin(ours, shareOfMumbleStart, *mumble)) && ours.idle.resident > 0 &&
           ours.idle.resident <= memoryLimit && ours.wakeUps() <= wakeUpLimit;
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 5;
    const auto folder = QCoreApplication::applicationDirPath();
    std::vector<Peer> peers{
        {"bare Qt Quick window", folder + QStringLiteral("/BareQuickWindow")},
        {"Corvane Lumetra", folder + QStringLiteral("/corvane-lumetra")},
    };
    if (const auto mumble = QStandardPaths::findExecutable(QStringLiteral("mumble")); !mumble.isEmpty()) {
        peers.push_back({"Mumble", mumble});
    }
    // Alternating, so that a busy minute of the machine affects all of them.
    for (int round = 0; round < rounds; ++round) {
        for (auto& peer : peers) {
            try {
                measure(peer, round == 0);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s: %s\n", peer.name, error.what());
            }
        }
    }
    std::printf(
        "| | first start | next start | cold start | resident / proportional | idle, 10 s of processor "
        "time | wake-ups a second |\n"
        "|---|---|---|---|---|---|---|\n");
    for (const auto& peer : peers) {
        std::printf("| %s | %s | %s | %s | %.1f / %.1f MB | %.0f ms | %.1f |\n", peer.name,
                    qPrintable(medianText(peer.firstStart)), qPrintable(medianText(peer.nextStart)),
                    qPrintable(medianText(peer.coldStart)), peer.idle.resident, peer.proportional,
                    peer.idle.processorTime, peer.wakeUps());
    }
    std::printf("By rounds %.2f, %.2f and %.2f times the bare window (limit: %.1f).\n",
                ratio(peers[1], peers[0], &Peer::firstStart), ratio(peers[1], peers[0], &Peer::nextStart),
                ratio(peers[1], peers[0], &Peer::coldStart), timesBareStart);
    return isWithinLimits(peers[1], peers[0], peers.size() > 2 ? &peers[2] : nullptr) ? 0 : 1;
}

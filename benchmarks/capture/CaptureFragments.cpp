// The cost of capture alone, with both streams, for several lengths of the sound server's fragments: this
// program's own streams compared with plain `parec` processes, and the cost in the server. Figures are
// medians of several rounds, because on a shared machine the processor time of the same work varies widely.
// Usage: CaptureFragments [seconds for each measurement, 20]

#include "Platform/Audio/PulseSettings.h"
#include "Platform/Core/Tasks.h"
#include "benchmarks/ProcessUse.h"
#include "sandbox/desktop/PrivateSound.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <vector>

using namespace platform;

namespace {

constexpr int settleSeconds = 1;
constexpr int rounds = 5;

void runFor(int seconds) {
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

struct Result {
    ProcessUse capture;
    ProcessUse server;
    double buffersPerSecond = 0;
    int shortChunks = 0;
};

// Records when how much sound arrived, on the stream's thread; read after the stream has ended.
struct Meter {
    struct Arrival {
        std::chrono::steady_clock::time_point time;
        size_t frames;
    };
    std::vector<Arrival> arrivals;
    std::atomic<bool> measuring = false;

    AudioStreamHandlers handlers() {
        arrivals.reserve(1 << 16);
        return {
            .buffer =
                [this](const AudioBuffer& buffer) {
                    if (measuring) {
                        arrivals.push_back({std::chrono::steady_clock::now(), buffer.length / sizeof(float)});
                    }
                },
            .stoppedWithError =
                [](const QString& reason) { throw std::runtime_error(reason.toStdString()); }};
    }

    // Returns how many chunks would be short or missing if a timer took up to 80 ms of sound every 80 ms, for
    // the worst possible phase of the timer. The first second determines how much is buffered.
    int shortChunks() const {
        constexpr std::chrono::milliseconds interval{80};
        constexpr size_t full = 3840;
        int worst = 0;
        for (std::chrono::milliseconds phase{0}; phase < interval; ++phase) {
            int missed = 0;
            size_t pending = 0;
            auto tick = arrivals.front().time + phase;
            for (const auto& arrival : arrivals) {
                for (; tick < arrival.time; tick += interval) {
                    const bool settled = tick - arrivals.front().time > std::chrono::seconds(1);
                    missed += settled && pending < full ? 1 : 0;
                    pending -= std::min(pending, full);
                }
                pending += arrival.frames;
            }
            worst = std::max(worst, missed);
        }
        return worst;
    }
};

QCoro::Task<void> startBoth(AudioHost* host, Meter* system, Meter* microphone,
                            std::vector<std::unique_ptr<AudioStream>>* streams) {
    auto first = co_await host->startSystemStream({}, system->handlers());
    streams->push_back(std::move(first));
    auto second = co_await host->startMicrophoneStream(microphone->handlers());
    streams->push_back(std::move(second));
}

Result measureOwn(PrivateSound& sound, int fragment, int seconds) {
    const auto host = makePulseAudioHost(
        PulseSettings{.server = sound.address(), .fragment = std::chrono::milliseconds(fragment)});
    Meter system;
    Meter microphone;
    std::vector<std::unique_ptr<AudioStream>> streams;
    startTask(startBoth(host.get(), &system, &microphone, &streams), "capture");
    runFor(settleSeconds);
    if (streams.size() != 2) {
        throw std::runtime_error("capture did not start");
    }
    system.measuring = true;
    microphone.measuring = true;
    const auto self = ProcessUse::of(QCoreApplication::applicationPid());
    const auto server = ProcessUse::of(sound.processId());
    runFor(seconds);
    Result result{.capture = ProcessUse::of(QCoreApplication::applicationPid()) - self,
                  .server = ProcessUse::of(sound.processId()) - server};
    streams.clear();
    result.buffersPerSecond =
        static_cast<double>(system.arrivals.size() + microphone.arrivals.size()) / seconds;
    result.shortChunks = system.shortChunks();
    return result;
}

Result measurePeer(PrivateSound& sound, int fragment, int seconds) {
    const auto start = [&](ChildProcess& peer, const QStringList& arguments) {
        peer.start(QStringLiteral("parec"),
                   QStringList{QStringLiteral("--latency-msec=%1").arg(fragment)} + arguments,
                   sound.environment(), QStringLiteral("/dev/null"));
    };
    ChildProcess system;
    ChildProcess microphone;
    start(system, {QStringLiteral("--device=candidate.monitor"), QStringLiteral("--format=float32le"),
                   QStringLiteral("--channels=1"), QStringLiteral("--rate=48000")});
    start(microphone, {QStringLiteral("--device=mic"), QStringLiteral("--format=s16le"),
                       QStringLiteral("--channels=1"), QStringLiteral("--rate=44100")});
    runFor(settleSeconds);
    const auto both = [&] {
        return ProcessUse::of(system.processId()) + ProcessUse::of(microphone.processId());
    };
    const auto peers = both();
    const auto server = ProcessUse::of(sound.processId());
    runFor(seconds);
    return {.capture = both() - peers, .server = ProcessUse::of(sound.processId()) - server};
}

template<typename Value>
double median(std::vector<Result>& results, Value value) {
    const auto middle = results.begin() + static_cast<std::ptrdiff_t>(results.size() / 2);
    std::ranges::nth_element(results, middle, {}, value);
    return static_cast<double>(value(*middle));
}

// `seconds` is the length of one round.
void print(const char* name, int fragment, std::vector<Result>& results, int seconds) {
    const auto minute = 60.0 / seconds;
    std::printf("| %-5s | %2d ms | %5.0f ms | %5.1f | %5.0f ms | %5.1f |", name, fragment,
                median(results, [](const Result& each) { return each.capture.processorTime; }) * minute,
                median(results, [](const Result& each) { return each.capture.switches; }) / seconds,
                median(results, [](const Result& each) { return each.server.processorTime; }) * minute,
                median(results, [](const Result& each) { return each.server.switches; }) / seconds);
    if (results.front().buffersPerSecond > 0) {
        int missed = 0;
        for (const auto& each : results) {
            missed += each.shortChunks;
        }
        std::printf(" %5.1f | %2.0f |\n",
                    median(results, [](const Result& each) { return each.buffersPerSecond; }),
                    missed * minute / rounds);
    } else {
        std::printf("       |    |\n");
    }
}

// Null sinks with the server's defaults: those of the tests work in blocks of at most 50 ms.
void addDevices(PrivateSound& sound) {
    sound.loadModule(QStringLiteral("module-null-sink"), {QStringLiteral("sink_name=candidate")});
    sound.loadModule(QStringLiteral("module-null-sink"),
                     {QStringLiteral("sink_name=feed"), QStringLiteral("channels=1")});
    sound.loadModule(QStringLiteral("module-remap-source"),
                     {QStringLiteral("source_name=mic"), QStringLiteral("master=feed.monitor")});
    sound.setDefaultSink(QStringLiteral("candidate"));
    sound.setDefaultSource(QStringLiteral("mic"));
}

// `seconds` is the length of one round.
void run(int seconds) {
    PrivateSound sound;
    sound.start();
    sound.useInThisProcess();
    addDevices(sound);
    const auto idle = ProcessUse::of(sound.processId());
    runFor(seconds);
    const auto rest = ProcessUse::of(sound.processId()) - idle;
    std::printf("Server alone: %.0f ms a minute, %.1f wake-ups a second.\n\n",
                rest.processorTime * 60.0 / seconds, rest.switches / seconds);
    std::map<int, std::vector<Result>> own;
    std::map<int, std::vector<Result>> peer;
    for (int round = 0; round < rounds; ++round) {
        for (const int fragment : {20, 40, 80}) {
            own[fragment].push_back(measureOwn(sound, fragment, seconds));
            peer[fragment].push_back(measurePeer(sound, fragment, seconds));
        }
    }
    std::printf("| program | fragment | processor time a minute | wake-ups a s | server a minute | its "
                "wake-ups a s | "
                "buffers a s | short chunks a minute |\n|---|---|---|---|---|---|---|---|\n");
    for (const int fragment : {20, 40, 80}) {
        print("ours", fragment, own[fragment], seconds);
        print("parec", fragment, peer[fragment], seconds);
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    try {
        run(std::max(2, (argc > 1 ? std::atoi(argv[1]) : 20) / rounds));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

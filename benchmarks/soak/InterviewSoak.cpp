// Two hours of an interview at ten times speed, with a fault of every kind at random times: after each the
// program has to be in the state that it has to be in, and the interview has to go on; every frame that a
// link was handed before it broke has to have come, in order; and at the end the process has the memory, the
// descriptors and the threads that it had at the start. Exit status 1 when something is not so.
//   InterviewSoak [minutes of interview] [seed]     120, and a seed of chance; in any case each kind once
#include "SoakFaults.h"
#include "SoakRig.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr long allowedGrowth = 4096; // KiB; what Qt's caches and the allocator keep

struct Footprint {
    long resident = 0; // KiB
    long descriptors = 0;
    long threads = 0;

    // The interview runs, and what idle connections there were are closed.
    static Footprint inCalm(SoakRig& rig) {
        rig.wait(60s);
        rig.log.clear();
        malloc_trim(0);
        QFile status(QStringLiteral("/proc/self/statm"));
        if (!status.open(QIODevice::ReadOnly)) {
            return {};
        }
        const auto entries = [](const char* folder) {
            return static_cast<long>(QDir(QLatin1String(folder))
                                         .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                                         .size());
        };
        return {status.readAll().split(' ').value(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024),
                entries("/proc/self/fd"), entries("/proc/self/task")};
    }

    void print(const char* when) const {
        std::printf("%-8s %8ld KiB %6ld descriptors %4ld threads\n", when, resident, descriptors, threads);
    }
};

void say(const SoakRig& rig, const char* what) {
    const auto seconds = static_cast<int>(rig.time().count());
    std::printf("%3d:%02d  %s\n", seconds / 60, seconds % 60, what);
    std::fflush(stdout);
}

// Every kind once in an order of chance, then again in another.
class Order {
public:
    explicit Order(std::mt19937_64& random)
        : m_random(random) {}

    const SoakFault& next() {
        if (m_left.empty()) {
            for (const auto& fault : soakFaults()) {
                m_left.push_back(&fault);
            }
            std::ranges::shuffle(m_left, m_random);
            ++m_rounds;
        }
        const auto* fault = m_left.back();
        m_left.pop_back();
        return *fault;
    }
    bool hadAll() const { return m_rounds > 1 || (m_rounds == 1 && m_left.empty()); }

private:
    std::mt19937_64& m_random;
    std::vector<const SoakFault*> m_left;
    int m_rounds = 0;
};

void tail(const LogCapture& log) {
    const auto lines = log.lines();
    for (const auto& line : lines.mid(std::max<qsizetype>(0, lines.size() - 60))) {
        std::fprintf(stderr, "    %s\n", qPrintable(line));
    }
}

// What the interviewer does meanwhile.
void useIt(SoakRig& rig) {
    auto& interview = rig.interview();
    switch (rig.between(0, 4)) {
    case 0:
        interview.nextQuestion();
        break;
    case 1:
        interview.toggleFollowUps();
        break;
    case 2:
        interview.toggleEnglishAssessment();
        break;
    default:
        break;
    }
}

} // namespace

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const auto minutes = std::chrono::minutes(argc > 1 ? QByteArray(argv[1]).toInt() : 120);
    const auto seed = argc > 2 ? QByteArray(argv[2]).toULongLong() : std::random_device{}();
    std::printf("seed %llu, %ld minutes at %d times speed\n", static_cast<unsigned long long>(seed),
                static_cast<long>(minutes.count()), SoakRig::speed);
    SoakRig rig(seed);
    Order order(rig.random);
    int happened = 0;
    const char* current = "the start";
    Footprint start;
    Footprint end;
    try {
        rig.begin();
        say(rig, "the interview runs");
        start = Footprint::inCalm(rig);
        while (rig.time() < minutes || !order.hadAll()) {
            current = "between two faults";
            useIt(rig);
            rig.wait(SoakRig::Seconds(rig.between(3, 25)));
            rig.expectHealthy();
            rig.log.clear();
            const auto& fault = order.next();
            current = fault.name;
            rig.noteFault();
            fault.happen(rig);
            rig.expectHealthy();
            say(rig, current);
            ++happened;
        }
        current = "the end";
        end = Footprint::inCalm(rig);
        rig.end();
    } catch (const std::exception& failure) {
        say(rig, current);
        std::printf("FAILED: %s\n", failure.what());
        std::fflush(stdout);
        tail(rig.log);
        return 1;
    }
    std::printf(
        "%d faults of %zu kinds over %d links; %llu frames came, in order; %llu were lost with a link\n"
        "that broke; the user had to reconnect %d times\n",
        happened, soakFaults().size(), rig.links, static_cast<unsigned long long>(rig.received),
        static_cast<unsigned long long>(rig.lost), rig.pressed);
    start.print("start");
    end.print("end");
    const bool flat = end.resident - start.resident <= allowedGrowth &&
                      end.descriptors <= start.descriptors && end.threads <= start.threads;
    std::printf("%s\n", flat ? "flat" : "it has grown");
    return flat ? 0 : 1;
}

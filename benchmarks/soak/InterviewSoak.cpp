// Two hours of an interview at ten times speed, with a fault of every kind at random times, and pairs of
// faults at the same moment. After each the program must be in the right state and the interview must
// continue; every frame that a link was given before it broke must arrive, in order; at the end the process
// must have the memory, descriptors and threads of the start. Exits with status 1 if any of this fails.
//   InterviewSoak [minutes of interview, 120] [seed, random]
// Every kind of fault occurs at least once, and one pair for each two things that faults affect. With 0
// minutes every pair occurs once, and nothing else.
#include "benchmarks/soak/SoakFaults.h"
#include "benchmarks/soak/SoakPairs.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <sqlite3.h>
#include <unistd.h>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

// KiB that are allocated. During a run the figure rises and falls by as much as 1,900.
constexpr long allowedGrowth = 2048;
constexpr long allowedResidentGrowth = 6144; // KiB; what the allocators of all threads keep, and Qt's caches
// The link, and connections that HTTP keeps for a while: to the backend, the sign-in service and the control
// address.
constexpr long allowedSockets = 5;

struct Footprint {
    long resident = 0;  // KiB, of the process's own memory
    long allocated = 0; // KiB
    long files = 0;     // open descriptors except sockets
    long sockets = 0;
    long threads = 0;

    // Measures while the interview runs.
    static Footprint inCalm(SoakRig& rig) {
        rig.wait(60s);
        rig.log.clear();
        malloc_trim(0);
        Footprint result;
        QFile status(QStringLiteral("/proc/self/status"));
        if (status.open(QIODevice::ReadOnly)) {
            const auto text = QString::fromLatin1(status.readAll());
            const auto match = QRegularExpression(QStringLiteral("RssAnon:\\s+(\\d+) kB")).match(text);
            result.resident = match.captured(1).toLong();
        }
        const auto heap = mallinfo2();
        result.allocated = static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
        const auto all = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
        for (const auto& entry : QDir(QStringLiteral("/proc/self/fd")).entryList(all)) {
            const auto target = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/") + entry);
            ++(target.contains(QLatin1String("socket:")) ? result.sockets : result.files);
        }
        result.threads = QDir(QStringLiteral("/proc/self/task")).entryList(all).size();
        return result;
    }

    bool hasGrownSince(const Footprint& start) const {
        return allocated - start.allocated > allowedGrowth ||
               resident - start.resident > allowedResidentGrowth || files > start.files ||
               sockets > allowedSockets || threads > start.threads;
    }

    void print(const char* when) const {
        std::printf("%-7s %6ld KiB resident, %6ld allocated, %3ld files, %2ld sockets, %2ld threads\n", when,
                    resident, allocated, files, sockets, threads);
        std::fflush(stdout);
    }
};

void say(const SoakRig& rig, const char* what) {
    const auto seconds = static_cast<int>(rig.time().count());
    std::printf("%3d:%02d  %s\n", seconds / 60, seconds % 60, what);
    std::fflush(stdout);
}

// A fault, or a pair of faults.
struct Event {
    QByteArray name;
    std::function<void(SoakRig&)> happen;
};

// Yields in each round every kind of fault once, and for each two things that faults affect the next pair, in
// random order.
class FaultOrder {
public:
    FaultOrder(std::mt19937_64& random, bool onlyPairs)
        : m_random(random)
        , m_pairs(soakPairs(random))
        , m_onlyPairs(onlyPairs) {}

    Event next() {
        if (m_left.empty()) {
            fill();
            std::ranges::shuffle(m_left, m_random);
            ++m_rounds;
        }
        auto event = std::move(m_left.back());
        m_left.pop_back();
        return event;
    }
    bool isRoundOver() const { return m_left.empty(); }
    bool hadAll() const { return m_rounds > 1 || (m_rounds == 1 && m_left.empty()); }

private:
    void fill() {
        if (m_onlyPairs) {
            for (const auto& list : m_pairs) {
                for (const auto& pair : list) {
                    add(pair);
                }
            }
            return;
        }
        for (const auto& fault : soakFaults()) {
            m_left.push_back({fault.name, fault.happen});
        }
        for (const auto& list : m_pairs) {
            add(list.at(m_rounds % list.size()));
        }
    }
    void add(const SoakPair& pair) {
        m_left.push_back({pair.name(), [&pair](SoakRig& rig) { pair.happen(rig); }});
    }

    std::mt19937_64& m_random;
    const std::vector<std::vector<SoakPair>> m_pairs;
    const bool m_onlyPairs;
    std::vector<Event> m_left;
    size_t m_rounds = 0;
};

void tail(const LogCapture& log) {
    const auto lines = log.lines();
    for (const auto& line : lines.mid(std::max<qsizetype>(0, lines.size() - 60))) {
        std::fprintf(stderr, "    %s\n", qPrintable(line));
    }
}

// Does something that an interviewer might do meanwhile.
void actAsInterviewer(SoakRig& rig) {
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

// One run, from the first sign-in to the last frame.
class Soak {
public:
    Soak(quint64 seed, bool onlyPairs)
        : m_rig(seed)
        , m_order(m_rig.random, onlyPairs) {}

    // Returns false, and prints the reason, if something went wrong.
    bool run(SoakRig::Seconds length) {
        try {
            m_rig.begin();
            say(m_rig, "the interview runs");
            m_start = Footprint::inCalm(m_rig);
            m_start.print("start");
            while (m_rig.time() < length || !m_order.hadAll()) {
                happen();
            }
            m_current = "the end";
            m_end = Footprint::inCalm(m_rig);
            m_rig.end();
            return true;
        } catch (const std::exception& failure) {
            say(m_rig, m_current.constData());
            std::printf("FAILED: %s\n", failure.what());
            std::fflush(stdout);
            tail(m_rig.log);
            return false;
        }
    }

    // Returns false if the process has grown.
    bool summary() const {
        std::printf(
            "%d faults of %zu kinds and pairs of them over %d links; %llu frames came, in order; %llu were\n"
            "lost with a link that broke; the user had to reconnect %d times\n",
            m_happened, soakFaults().size(), m_rig.links, static_cast<unsigned long long>(m_rig.received),
            static_cast<unsigned long long>(m_rig.lost), m_rig.pressed);
        m_start.print("start");
        m_end.print("end");
        const bool grown = m_end.hasGrownSince(m_start);
        std::printf("%s\n", grown ? "it has grown" : "flat");
        return !grown;
    }

private:
    void happen() {
        m_current = "between two faults";
        actAsInterviewer(m_rig);
        m_rig.wait(SoakRig::Seconds(m_rig.between(3, 25)));
        m_rig.expectHealthy();
        m_rig.log.clear();
        const auto event = m_order.next();
        m_current = event.name;
        m_rig.noteFault();
        event.happen(m_rig);
        m_rig.expectHealthy();
        say(m_rig, m_current.constData());
        ++m_happened;
        if (m_order.isRoundOver()) {
            Footprint::inCalm(m_rig).print("so far");
        }
    }

    SoakRig m_rig;
    FaultOrder m_order;
    QByteArray m_current = "the start";
    int m_happened = 0;
    Footprint m_start;
    Footprint m_end;
};

// Acts as the other program. Returns its exit status.
int lockStore(const char* path) {
    sqlite3* store = nullptr;
    if (sqlite3_open(path, &store) != SQLITE_OK ||
        sqlite3_exec(store, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) != SQLITE_OK) {
        return 1;
    }
    std::puts("locked");
    std::fflush(stdout);
    std::getchar(); // until the other end closes
    return sqlite3_close(store) == SQLITE_OK ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc == 3 && std::string_view(argv[1]) == SoakRig::lockOption) {
        return lockStore(argv[2]);
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const auto minutes = std::chrono::minutes(argc > 1 ? QByteArray(argv[1]).toInt() : 120);
    const auto seed = argc > 2 ? QByteArray(argv[2]).toULongLong() : std::random_device{}();
    std::printf("seed %llu, %ld minutes at %d times speed\n", static_cast<unsigned long long>(seed),
                static_cast<long>(minutes.count()), SoakRig::speed);
    Soak soak(seed, minutes.count() == 0);
    return soak.run(minutes) && soak.summary() ? 0 : 1;
}

// A provider's stream from an aiohttp server on loopback, over a real connection into the popover's window:
// the time from the server's write until the model has a piece of text and until it is drawn, and how long
// the main thread is away from its event loop. The software renderer draws, as in the program.
//   ProviderStream [events a second] [seconds]
#include "Services/CustomProviderService.h"
#include "benchmarks/Figures.h"
#include "benchmarks/PopoverWindow.h"
#include "tests/Services/Provider/ChatServer.h"
#include "tests/Services/Provider/ProviderEntries.h"
#include "tests/Support/TestProgram.h"

#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace corvane;

namespace {

using Clock = std::chrono::steady_clock; // the server's time.monotonic_ns()
using namespace std::chrono_literals;

constexpr double latencyLimit = 50; // ms
constexpr double stallLimit = 100;  // ms

double millisecondsSince(qint64 nanoseconds) {
    return static_cast<double>(Clock::now().time_since_epoch().count() - nanoseconds) / 1e6;
}

void report(const char* name, const std::vector<double>& values) {
    std::printf("  %-34s %6zu   p50 %7.2f  p99 %7.2f  worst %7.2f ms\n", name, values.size(),
                percentile(values, 0.5), percentile(values, 0.99), percentile(values, 1));
}

// A program that has been launched, so that its services exist.
struct LaunchedProgram : TestProgram {
    LaunchedProgram() { launchToSession(); }
};

// The program's own models with a real HTTP session, and the popover in a window.
class Stage {
public:
    Stage(const QString& baseUrl, const QString& endpoint)
        : m_defaults(providerEntries(baseUrl, endpoint)) {
        QObject::connect(&m_completion, &CompletionViewModel::responseChanged, &m_view, [this] { note(); });
        QObject::connect(&m_view, &QQuickWindow::frameSwapped, &m_view, [this] {
            if (m_undrawn != 0) {
                drawn.push_back(millisecondsSince(std::exchange(m_undrawn, 0)));
            }
        });
        m_tick.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_tick, &QTimer::timeout, &m_view, [this] {
            const auto now = Clock::now().time_since_epoch().count();
            away.push_back(static_cast<double>(now - std::exchange(m_lastTick, now)) / 1e6);
        });
    }

    // Returns the number of texts that arrived.
    qsizetype run() {
        m_completion.setInput(QStringLiteral("Go"));
        const auto busy = threadTime();
        m_completion.submit();
        m_lastTick = Clock::now().time_since_epoch().count();
        m_tick.start(1);
        while (m_completion.isLoading()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        m_tick.stop();
        work = threadTime() - busy;
        if (m_completion.error()) {
            std::printf("failed: %s\n", qPrintable(m_completion.errorText()));
        }
        return m_completion.response().count(u' ');
    }

    std::vector<double> known; // ms from the write of a batch's first piece to the model
    std::vector<double> drawn; // ms from the write of the oldest piece that was not drawn to its frame
    std::vector<double> away;  // ms between two ticks of a timer of 1 ms
    double work = 0;           // ms of the main thread

private:
    void note() {
        const auto text = QStringView(m_completion.response()).sliced(m_seen);
        m_seen += text.size();
        const auto written = text.left(text.indexOf(u':')).toLongLong();
        if (written != 0) {
            known.push_back(millisecondsSince(written));
            m_undrawn = m_undrawn == 0 ? written : m_undrawn;
        }
    }

    LaunchedProgram m_program;
    std::unique_ptr<platform::DefaultsStore> m_defaults;
    std::unique_ptr<platform::HttpClient> m_http =
        platform::makeHttpClient(platform::HttpSessionKind::shared);
    CustomProviderService m_provider{*m_defaults, *m_http};
    CompletionViewModel m_completion{m_program.app->webSocketService(),
                                     m_program.app->apiService(),
                                     m_program.app->databaseService(),
                                     m_provider,
                                     *m_defaults,
                                     *m_program.clock};
    ResponsePopoverPresenter m_presenter{m_completion, m_program.interview(),
                                         m_program.app->settingsViewModel(), *m_program.access};
    PopoverWindow m_view{m_presenter};
    QTimer m_tick;
    qsizetype m_seen = 0;
    qint64 m_undrawn = 0;
    qint64 m_lastTick = 0;
};

bool measure(const ChatServer& server, int rate, int seconds) {
    const auto count = rate * seconds;
    Stage stage(server.baseUrl(), QStringLiteral("/flood?events=%1&rate=%2").arg(count).arg(rate));
    const auto start = Clock::now();
    const auto received = stage.run();
    const std::chrono::duration<double> took = Clock::now() - start;
    std::printf("%d events a second: %lld of %d arrived in %.1f s, main thread busy %.0f %%\n", rate,
                static_cast<long long>(received), count, took.count(), stage.work / took.count() / 10);
    report("written to known", stage.known);
    report("written to drawn", stage.drawn);
    report("away from the event loop", stage.away);
    std::printf("  the first: known after %.2f ms, drawn after %.2f ms\n", stage.known.at(0),
                stage.drawn.at(0));
    std::fflush(stdout);
    return received == count && stage.drawn.at(0) < latencyLimit && percentile(stage.away, 1) < stallLimit;
}

} // namespace

int main(int argc, char** argv) {
    PopoverWindow::chooseRenderer();
    QGuiApplication application(argc, argv);
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    const ChatServer server;
    const int rate = argc > 1 ? std::max(1, QByteArray(argv[1]).toInt()) : 10'000;
    const int seconds = argc > 2 ? std::max(1, QByteArray(argv[2]).toInt()) : 10;
    const bool slow = measure(server, 50, seconds);
    const bool fast = measure(server, rate, seconds);
    return slow && fast ? 0 : 1;
}

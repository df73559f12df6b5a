// The time from WebSocketTask::send until a loopback peer has received the whole sound chunk, over TLS.

#include "Platform/Network/WebSocketTask.h"
#include "benchmarks/Figures.h"
#include "tests/Platform/Network/TestCertificates.h"
#include "tests/Platform/Network/WebSocketTestPeer.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;
using namespace std::chrono_literals;

namespace {

// 80 ms at 48 kHz as a WAV file, preceded by the stream byte.
constexpr qsizetype frameBytes = 7725;

// The server, on its own thread. Its figures are read after it has ended.
class Peer : public QThread {
public:
    explicit Peer(QSslConfiguration tls)
        : m_tls(std::move(tls)) {
        start();
        m_listening.acquire();
    }
    ~Peer() override {
        quit();
        wait();
    }

    quint16 port() const { return m_port; }
    int received() const { return m_received; }
    std::vector<nanoseconds> takeLatencies() {
        m_received = 0;
        return std::exchange(m_latencies, {});
    }

protected:
    void run() override {
        RawServer server(m_tls);
        server.onRequest = [this](QSslSocket* socket, const QByteArray& request) {
            auto* peer = new WebSocketPeer(socket, request);
            peer->onFrame = [this](const WebSocketPeer::Frame& frame) { note(frame); };
        };
        m_port = server.serverPort();
        m_listening.release();
        exec();
    }

private:
    void note(const WebSocketPeer::Frame& frame) {
        if (frame.opcode == WebSocketPeer::binary) {
            Clock::rep sent = 0;
            std::memcpy(&sent, frame.payload.constData(), sizeof sent);
            m_latencies.push_back(Clock::now().time_since_epoch() - Clock::duration(sent));
            ++m_received;
        }
    }

    QSslConfiguration m_tls;
    QSemaphore m_listening;
    quint16 m_port = 0;
    std::vector<nanoseconds> m_latencies;
    std::atomic<int> m_received = 0;
};

// Sends one stream: frames at an even pace, each with the time at which it was sent.
void stream(platform::WebSocketTask& task, Clock::time_point start, nanoseconds interval, int count) {
    for (int i = 0; i < count; ++i) {
        std::this_thread::sleep_until(start + i * interval);
        QByteArray frame(frameBytes, '\0');
        const auto now = Clock::now().time_since_epoch().count();
        std::memcpy(frame.data(), &now, sizeof now);
        task.send(platform::WebSocketTask::Payload::binary, std::move(frame), [](std::exception_ptr) {});
    }
}

double milliseconds(nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// Returns whether all frames arrived and the 99th percentile is within the limit.
bool report(const char* name, const std::vector<nanoseconds>& latencies, int sent, nanoseconds limit) {
    const auto p99 = percentile(latencies, 0.99);
    std::printf("%-32s %7zu of %d frames  p50 %6.3f ms  p99 %6.3f ms (limit: %.0f)  worst %6.3f ms\n", name,
                latencies.size(), sent, milliseconds(median(latencies)), milliseconds(p99),
                milliseconds(limit), milliseconds(percentile(latencies, 1)));
    return std::cmp_equal(latencies.size(), sent) && p99 <= limit;
}

bool measure(const char* name, platform::WebSocketTask& task, Peer& peer, nanoseconds interval,
             int countOfEach) {
    const auto start = Clock::now() + 50ms;
    // The second stream falls between the frames of the first.
    std::thread first([&] { stream(task, start, interval, countOfEach); });
    std::thread second([&] { stream(task, start + interval / 2, interval, countOfEach); });
    first.join();
    second.join();
    const auto deadline = Clock::now() + 5s;
    while (peer.received() < 2 * countOfEach && Clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    return report(name, peer.takeLatencies(), 2 * countOfEach, 3ms);
}

} // namespace

int main(int count, char** arguments) {
    QCoreApplication application(count, arguments);
    const TestCertificates certificates;
    const EnvironmentOverride roots("SSL_CERT_FILE", certificates.authorityFile().toLocal8Bit());
    Peer peer(certificates.server({QStringLiteral("localhost")}));
    const auto factory = platform::makeWebSocketFactory();
    const auto task = factory->makeTask(QUrl(QStringLiteral("wss://localhost:%1/").arg(peer.port())), 1024);
    bool settled = false;
    QObject::connect(task.get(), &platform::WebSocketTask::opened, [&] { settled = true; });
    QObject::connect(task.get(), &platform::WebSocketTask::completed, [&] { settled = true; });
    task->resume();
    while (!settled) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    if (task->httpStatus() != 101) {
        std::fputs("the link did not open\n", stderr);
        return 1;
    }
    const bool streams = measure("two streams, 12.5 frames/s each", *task, peer, 80ms, 250);
    const bool flood = measure("1,000 frames/s", *task, peer, 2ms, 5000);
    task->cancel(1000);
    return streams && flood ? 0 : 1;
}

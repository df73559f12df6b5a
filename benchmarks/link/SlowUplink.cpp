// Both streams of an interview over an uplink that carries less than they need: how much waits in memory, how
// long a speech mark takes to reach the server, and how much sound is dropped.
//   SlowUplink [seconds]

#include "benchmarks/Figures.h"
#include "benchmarks/ProcessUse.h"

#include "Platform/Network/WebSocketTask.h"
#include "tests/Platform/Network/WebSocketTestPeer.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

// 80 ms at 48 kHz as a WAV file, preceded by the stream byte; two streams need 1.55 Mbit/s.
constexpr qsizetype frameBytes = 7725;
constexpr auto frameInterval = 80ms;
constexpr auto markInterval = 2s;
constexpr qsizetype uplinkBytesASecond = 1'000'000 / 8;
constexpr auto turn = 20ms;
// The buffer of a home router.
constexpr qsizetype uplinkBuffer = 16 * 1024;

constexpr double markLimit = 2.0;    // s: the second of sound over this uplink, and what the network buffers
constexpr double memoryLimit = 20.0; // MB more than at the start

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

// Forwards data from the program at the rate of the uplink, and data to it at once.
class Uplink : public QTcpServer {
public:
    explicit Uplink(quint16 serverPort)
        : m_serverPort(serverPort) {
        if (!listen(QHostAddress::LocalHost)) {
            qFatal("cannot listen on loopback");
        }
    }

protected:
    void incomingConnection(qintptr handle) override {
        auto* program = new QTcpSocket(this);
        program->setSocketDescriptor(handle);
        program->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, uplinkBuffer);
        program->setReadBufferSize(uplinkBuffer);
        auto* server = new QTcpSocket(program);
        server->connectToHost(QHostAddress::LocalHost, m_serverPort);
        connect(server, &QTcpSocket::readyRead, program, [=] { program->write(server->readAll()); });
        auto* timer = new QTimer(program);
        timer->setTimerType(Qt::PreciseTimer);
        connect(timer, &QTimer::timeout, program, [=, last = Clock::now(), allowed = 0.0]() mutable {
            const auto now = Clock::now();
            allowed = std::min(allowed + seconds(now - last) * uplinkBytesASecond, double(uplinkBuffer));
            last = now;
            const auto piece = program->read(static_cast<qint64>(allowed));
            allowed -= static_cast<double>(piece.size());
            server->write(piece);
        });
        timer->start(turn);
    }

private:
    const quint16 m_serverPort;
};

// The server and its uplink, on their own thread.
class FarEnd : public QThread {
public:
    FarEnd() {
        start();
        m_listening.acquire();
    }
    ~FarEnd() override { finish(); }

    void finish() {
        quit();
        wait();
    }

    QUrl url() const { return QUrl(QStringLiteral("ws://localhost:%1/").arg(m_port)); }
    // Read after finish().
    std::vector<double> markDelays; // s
    std::atomic<int> sounds = 0;

protected:
    void run() override {
        WebSocketServer server;
        server.onRequest = [this](QSslSocket* socket, const QByteArray& request) {
            auto* peer = new WebSocketPeer(socket, request);
            peer->onFrame = [this](const WebSocketPeer::Frame& frame) {
                if (frame.opcode == WebSocketPeer::text) {
                    const auto sent = Clock::time_point(Clock::duration(frame.payload.toLongLong()));
                    markDelays.push_back(seconds(Clock::now() - sent));
                } else if (frame.opcode == WebSocketPeer::binary) {
                    ++sounds;
                }
            };
        };
        Uplink uplink(server.serverPort());
        m_port = uplink.serverPort();
        m_listening.release();
        exec();
    }

private:
    QSemaphore m_listening;
    quint16 m_port = 0;
};

struct Sent {
    int sounds = 0;
    int marks = 0;
    double mostMemory = 0; // MB
    std::atomic<int> dropped = 0;
};

void send(platform::WebSocketTask& task, std::chrono::seconds length, Sent& sent) {
    using Payload = platform::WebSocketTask::Payload;
    const auto start = Clock::now();
    auto nextMark = start + markInterval;
    for (auto due = start; due < start + length; due += frameInterval) {
        std::this_thread::sleep_until(due);
        for (int stream = 0; stream < 2; ++stream) {
            ++sent.sounds;
            task.send(Payload::binary, QByteArray(frameBytes, '\0'),
                      [&sent](const std::exception_ptr& failure) { sent.dropped += failure ? 1 : 0; });
        }
        if (due >= nextMark) {
            nextMark += markInterval;
            ++sent.marks;
            const auto now = Clock::now().time_since_epoch().count();
            task.send(Payload::text, QByteArray::number(static_cast<qlonglong>(now)),
                      [](std::exception_ptr) {});
            sent.mostMemory =
                std::max(sent.mostMemory, ProcessUse::of(QCoreApplication::applicationPid()).resident);
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    QCoreApplication application(count, arguments);
    const std::chrono::seconds length(count > 1 ? QByteArray(arguments[1]).toInt() : 600);
    FarEnd farEnd;
    const auto factory = platform::makeWebSocketFactory();
    const auto task = factory->makeTask(farEnd.url(), 1024);
    bool opened = false;
    QObject::connect(task.get(), &platform::WebSocketTask::opened, [&] { opened = true; });
    task->resume();
    while (!opened) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    const auto before = ProcessUse::of(QCoreApplication::applicationPid()).resident;
    Sent sent;
    send(*task, length, sent);
    std::this_thread::sleep_for(3s); // the last mark's way
    farEnd.finish();
    const auto delays = farEnd.markDelays;
    const auto worst = percentile(delays, 1);
    const auto grown = sent.mostMemory - before;
    std::printf("%lld s at 1 Mbit/s: %zu of %d marks arrived, after p50 %.2f s, p99 %.2f s, worst %.2f s "
                "(limit: %.1f)\n",
                static_cast<long long>(length.count()), delays.size(), sent.marks, median(delays),
                percentile(delays, 0.99), worst, markLimit);
    std::printf("%d chunks of sound: %d arrived, %d dropped; memory grew by %.1f MB at most (limit: %.0f)\n",
                sent.sounds, farEnd.sounds.load(), sent.dropped.load(), grown, memoryLimit);
    const bool allMarks = delays.size() == static_cast<std::size_t>(sent.marks);
    return allMarks && worst <= markLimit && grown <= memoryLimit ? 0 : 1;
}

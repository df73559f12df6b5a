#include "Platform/Network/ConnectivityMonitor.h"
#include "Platform/Network/ClockWatch.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QSignalSpy>

#include <cstring>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using platform::ConnectivityMonitor;
using Cause = ConnectivityMonitor::Cause;
using namespace std::chrono_literals;

namespace {

bool hasOwnNetwork = false;

bool setLoopbackUp(bool up) {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = up ? IFF_UP : 0;
    const bool done = ::ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
    ::close(descriptor);
    return done;
}

} // namespace

class ConnectivityMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clocksTellWhatHappened_data() {
        // How far the wall clock went, and the clock that counts sleep; the third went 5 s.
        const auto row = rows<std::chrono::milliseconds, std::chrono::milliseconds, std::optional<Cause>>();
        row("small correction", 5300ms, 5s, std::nullopt);
        row("slept", 65s, 65s, Cause::resumedFromSleep);
        row("slept, and the clock was wrong", 3665s, 65s, Cause::resumedFromSleep);
        row("set ahead", 3605s, 5s, Cause::wallClockJumped);
        row("set back", -60s, 5s, Cause::wallClockJumped);
    }
    void clocksTellWhatHappened() {
        const auto [wall, boot, cause] =
            currentRow<std::chrono::milliseconds, std::chrono::milliseconds, std::optional<Cause>>();
        const platform::ClockReadings start{1'700'000'000s, 1000s, 1500s};
        platform::ClockWatch watch(start);
        const platform::ClockReadings later{start.wall + wall, start.monotonic + 5s, start.boot + boot};
        QVERIFY(watch.examine(later) == cause);
        QVERIFY(!watch.examine(later)); // said once
    }

    void aChangeOfTheNetworkIsSaidOnce() {
        const auto monitor = platform::makeConnectivityMonitor();
        QSignalSpy spy(monitor.get(), &ConnectivityMonitor::disturbed);
        if (!hasOwnNetwork) {
            qInfo("no network of our own to change here: what remains is that nothing is said without cause");
            QVERIFY(!waitUntil([&] { return !spy.isEmpty(); }, 700));
            return;
        }
        QVERIFY(setLoopbackUp(true));
        QVERIFY(waitUntil([&] { return !spy.isEmpty(); }));
        QCOMPARE(spy.first().first().value<Cause>(), Cause::networkChanged);
        QTest::qWait(700);
        QCOMPARE(spy.size(), 1);
        QVERIFY(setLoopbackUp(false));
        QVERIFY(waitUntil([&] { return spy.size() == 2; }));
    }
};

// In a network of the test's own, which it may change; a container may not allow one.
int main(int count, char** arguments) {
    hasOwnNetwork = ::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
    QCoreApplication application(count, arguments);
    ConnectivityMonitorTest test;
    return QTest::qExec(&test, count, arguments);
}

#include "ConnectivityMonitorTest.moc"

#include "Platform/Desktop/TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform {

namespace {

int wakeDescriptor = -1;

// Does only what is allowed in a signal handler. Unlike a blocked signal, a handler is not inherited by child
// processes.
void wakeEventLoop(int) {
    const auto interrupted = errno;
    const uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wakeDescriptor, &one, sizeof one);
    errno = interrupted;
}

} // namespace

void quitOnTerminationSignals() {
    wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0) {
        return;
    }
    auto* notifier = new QSocketNotifier(wakeDescriptor, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] { QCoreApplication::exit(); });
    struct sigaction action {};
    action.sa_handler = wakeEventLoop;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace platform

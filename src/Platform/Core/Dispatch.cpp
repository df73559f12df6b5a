#include "Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <memory>
#include <utility>

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace platform {

namespace {

// Qt's event queue orders the two sides, but a Qt built without the thread sanitizer does not tell it so.
void handOver([[maybe_unused]] void* address) {
#if defined(__SANITIZE_THREAD__)
    __tsan_release(address);
#endif
}

void takeOver([[maybe_unused]] void* address) {
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(address);
#endif
}

// The queue's last reference may be the poster's, after the work has run.
struct Delivery {
    std::function<void()> work;

    ~Delivery() { takeOver(this); }
};

} // namespace

void dispatchToMain(QObject* context, std::function<void()> work) {
    auto delivery = std::make_shared<Delivery>(std::move(work));
    auto* address = delivery.get();
    handOver(address);
    QMetaObject::invokeMethod(
        context,
        [delivery = std::move(delivery), address] {
            takeOver(address);
            {
                // What the work captured ends on the main thread, where it may resume a coroutine.
                const auto now = std::exchange(delivery->work, nullptr);
                now();
            }
            handOver(address);
        },
        Qt::QueuedConnection);
}

void dispatchToMain(std::function<void()> work) {
    if (auto* application = QCoreApplication::instance()) {
        dispatchToMain(application, std::move(work));
    }
}

bool isMainThread() {
    auto* application = QCoreApplication::instance();
    return application && QThread::currentThread() == application->thread();
}

} // namespace platform

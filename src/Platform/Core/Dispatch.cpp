#include "Dispatch.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <memory>

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

} // namespace

void dispatchToMain(QObject* context, std::function<void()> work) {
    auto shared = std::make_shared<std::function<void()>>(std::move(work));
    auto* address = shared.get();
    handOver(address);
    QMetaObject::invokeMethod(
        context,
        [shared = std::move(shared), address] {
            takeOver(address);
            (*shared)();
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

#include "Platform/Core/Dispatch.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QThread>

#include <memory>
#include <optional>
#include <utility>

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace platform {

namespace {

// Qt's event queue orders the two sides, but the thread sanitizer cannot see that in a Qt that was built
// without it.
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

// A custom event instead of a queued call of Qt's, so that every access to it happens on our side of the two
// functions above.
class WorkEvent final : public QEvent {
public:
    static constexpr auto kind = static_cast<QEvent::Type>(QEvent::User + 0x0D15);

    WorkEvent(std::optional<QPointer<QObject>> context, std::function<void()> work)
        : QEvent(kind)
        , m_context(std::move(context))
        , m_work(std::move(work)) {}
    ~WorkEvent() override { takeOver(this); }

    void run() {
        if (!m_context || *m_context) {
            m_work();
        }
    }

private:
    std::optional<QPointer<QObject>> m_context; // weak; without a context the work always runs
    std::function<void()> m_work;
};

// Runs the work on the thread of the application object, which is its parent.
class Worker final : public QObject {
public:
    using QObject::QObject;

protected:
    bool event(QEvent* event) override {
        takeOver(event);
        if (event->type() != WorkEvent::kind) {
            return QObject::event(event);
        }
        static_cast<WorkEvent*>(event)->run();
        return true;
    }
};

QPointer<Worker>& worker() {
    static QPointer<Worker> instance;
    return instance;
}

void makeWorker() {
    worker() = new Worker(QCoreApplication::instance());
}
Q_COREAPP_STARTUP_FUNCTION(makeWorker)

void post(std::optional<QPointer<QObject>> context, std::function<void()> work) {
    if (auto* receiver = worker().data()) {
        auto event = std::make_unique<WorkEvent>(std::move(context), std::move(work));
        handOver(event.get());
        QCoreApplication::postEvent(receiver, event.release());
    }
}

} // namespace

void dispatchToMain(QObject* context, std::function<void()> work) {
    post(QPointer<QObject>(context), std::move(work));
}

void dispatchToMain(std::function<void()> work) {
    post(std::nullopt, std::move(work));
}

bool isMainThread() {
    auto* application = QCoreApplication::instance();
    return application && QThread::currentThread() == application->thread();
}

} // namespace platform

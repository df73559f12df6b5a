#include "Windows/FirstPainting.h"

#include <QQuickWindow>
#include <QTimer>

namespace corvane {

namespace {

using namespace std::chrono_literals;

constexpr auto longestPainting = 500ms; // on a display that shows a window to nobody it is not painted

} // namespace

void whenNextPainted(QQuickWindow& window, std::function<void()> then) {
    auto* wait = new QTimer(&window);
    const auto proceed = [wait, shown = &window, then = std::move(then)] {
        wait->stop();
        QObject::disconnect(shown, nullptr, wait, nullptr);
        wait->deleteLater();
        then();
    };
    QObject::connect(wait, &QTimer::timeout, wait, proceed);
    QObject::connect(&window, &QQuickWindow::frameSwapped, wait, proceed);
    wait->start(longestPainting);
}

} // namespace corvane

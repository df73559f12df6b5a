#include "Windows/FirstPainting.h"

#include <QQuickWindow>
#include <QTimer>

namespace corvane {

namespace {

using namespace std::chrono_literals;

constexpr auto longestPainting = 500ms; // a window is not painted where nobody can see it

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

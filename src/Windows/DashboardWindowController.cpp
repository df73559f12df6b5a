#include "Windows/DashboardWindowController.h"

#include "Platform/Storage/DefaultsStore.h"
#include "Platform/Windows/QuietWindow.h"
#include "Platform/Windows/UserInteraction.h"
#include "Views/Dashboard/DashboardPresenter.h"
#include "Windows/ContentView.h"
#include "Windows/FirstPainting.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>

#include <algorithm>
#include <array>

namespace corvane {

namespace {

constexpr QSize firstSize(900, 620);
constexpr QSize smallestSize(700, 500);
constexpr int farthest = 32767;                          // a coordinate of X11 has 16 bits
const auto frameKey = QStringLiteral("DashboardWindow"); // "x y width height"

} // namespace

DashboardWindowController::DashboardWindowController(QQmlEngine& engine, DashboardPresenter& presenter,
                                                     platform::DefaultsStore& defaults)
    : QQuickView(&engine, nullptr)
    , m_presenter(presenter)
    , m_defaults(defaults) {
    setTitle(QStringLiteral("Corvane Lumetra"));
    setMinimumSize(smallestSize);
    setResizeMode(QQuickView::SizeRootObjectToView);
    restoreFrame();
}

DashboardWindowController::~DashboardWindowController() {
    if (QQuickView::isVisible()) {
        saveFrame();
    }
}

void DashboardWindowController::showWindow() {
    if (!rootObject()) {
        setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&m_presenter)}});
        setSource(contentView("Dashboard/DashboardView.qml"));
    }
    makeKeyAndOrderFront();
}

void DashboardWindowController::makeKeyAndOrderFront() {
    applyPolicy();
    setWindowStates(windowStates() & ~Qt::WindowMinimized);
    setVisible(true);
    // A window manager that notices the last hiding only now has removed the hints.
    applyPolicy();
    raise();
    platform::takeKeyboard(*this);
}

void DashboardWindowController::whenPainted(std::function<void()> then) {
    whenNextPainted(*this, std::move(then));
}

void DashboardWindowController::orderOut() {
    saveFrame();
    hide();
    setSource({});
    releaseResources();
}

void DashboardWindowController::closeEvent(QCloseEvent* event) {
    event->setAccepted(windowShouldClose());
}

// Hides the window instead. That is queued, because the window is still handling its own event.
bool DashboardWindowController::windowShouldClose() {
    QMetaObject::invokeMethod(this, &DashboardWindowController::orderOut, Qt::QueuedConnection);
    return false;
}

void DashboardWindowController::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    applyPolicy();
}

void DashboardWindowController::applyPolicy() {
    create();
    platform::setSkipsTaskbar(*this, m_policy == ActivationPolicy::accessory);
}

// Returns nullopt when nothing valid is stored, when the frame is on a screen that is gone, and when it is
// larger than all screens together.
std::optional<QRect> DashboardWindowController::storedFrame() const {
    const auto words = m_defaults.string(frameKey).value_or(QString()).split(u' ');
    std::array<int, 4> numbers{};
    if (words.size() != std::ssize(numbers)) {
        return std::nullopt;
    }
    std::ranges::transform(words, numbers.begin(), [](const QString& word) { return word.toInt(); });
    if (std::ranges::any_of(numbers, [](int number) { return number < -farthest || number > farthest; })) {
        return std::nullopt;
    }
    const QRect frame(numbers[0], numbers[1], numbers[2], numbers[3]);
    const auto* place = frame.isValid() ? QGuiApplication::screenAt(frame.center()) : nullptr;
    const bool fits = place && frame.size().boundedTo(place->virtualSize()) == frame.size();
    return fits ? std::optional(frame) : std::nullopt;
}

void DashboardWindowController::restoreFrame() {
    if (const auto frame = storedFrame()) {
        setGeometry(*frame);
        return;
    }
    resize(firstSize);
    if (const auto* screen = QGuiApplication::primaryScreen()) {
        setPosition(screen->availableGeometry().center() - QRect(QPoint(), firstSize).center());
    }
}

void DashboardWindowController::saveFrame() {
    m_defaults.setString(frameKey,
                         QStringLiteral("%1 %2 %3 %4").arg(x()).arg(y()).arg(width()).arg(height()));
}

} // namespace corvane

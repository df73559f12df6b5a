#include "Windows/FloatingPanel.h"

#include "Platform/Core/Log.h"
#include "Platform/Windows/AboveFullScreen.h"
#include "Platform/Windows/QuietWindow.h"
#include "Platform/Windows/UserInteraction.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Windows/ContentView.h"
#include "Windows/FirstPainting.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QQmlEngine>
#include <QScreen>

#include <algorithm>

namespace corvane {

namespace {

constexpr auto clearColor = Qt::transparent;
constexpr int offsetFromTop = 54;

void logMissingWindowFeatures() {
    if (const auto denied = platform::missingWindowFeatures(); !denied.isEmpty()) {
        platform::logLine(
            QStringLiteral("[Panel] This desktop does not let the bar: %1. Window rules may change that: "
                           "see docs/desktops.md.")
                .arg(denied.join(QStringLiteral(", "))));
    }
}

} // namespace

FloatingPanel::FloatingPanel(QQmlEngine& engine, OverlayBarPresenter& presenter)
    : QQuickView(&engine, nullptr)
    , m_presenter(presenter) {
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setColor(clearColor);
    setTitle(QStringLiteral("Corvane Lumetra"));
    setResizeMode(QQuickView::SizeRootObjectToView);
    resize(panelWidth, barHeight);
    connect(this, &QWindow::windowStateChanged, this, &FloatingPanel::restoreFromMinimized);
    connect(&presenter, &OverlayBarPresenter::drawnRegionChanged, this, &FloatingPanel::applyShape);
    connect(&presenter, &OverlayBarPresenter::moveRequested, this, &FloatingPanel::startDrag);
    connect(presenter.input(), &CompletionInputPresenter::focusRequested, this,
            [this] { platform::takeKeyboard(*this); });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &FloatingPanel::moveBackToScreen,
            Qt::QueuedConnection);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &FloatingPanel::followScreen);
    std::ranges::for_each(QGuiApplication::screens(), [this](QScreen* screen) { followScreen(screen); });
    positionTopCenter(offsetFromTop);
    applyShape();
}

FloatingPanel::~FloatingPanel() = default;

// Creates the window and its content at the first showing, as a start without a signed-in user does not need
// them.
void FloatingPanel::prepare() {
    if (!rootObject()) {
        create();
        platform::setShowsQuietly(*this);
        platform::setWindowRole(*this, "bar");
        logMissingWindowFeatures();
        m_aboveFullScreen = std::make_unique<platform::AboveFullScreen>(*this);
        applyShape();
        setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&m_presenter)}});
        setSource(contentView("Overlay/OverlayBarView.qml"));
    }
}

void FloatingPanel::orderFrontRegardless() {
    if (!isVisible()) {
        prepare();
        applyHints();
        QQuickView::show();
        // A window manager that notices the last hiding only now has removed the hints.
        applyHints();
        // GNOME puts a window that is shown without the keyboard under the active window once it has mapped
        // it.
        whenPainted([this] {
            if (isVisible()) {
                platform::raiseQuietly(*this);
            }
        });
    }
    platform::raiseQuietly(*this);
}

void FloatingPanel::orderOut() {
    hide();
}

QRect FloatingPanel::frame() const {
    return {m_placement.position(), QSize(width(), m_height)};
}

void FloatingPanel::setFrame(const QRect& frame) {
    if (frame.topLeft() != this->frame().topLeft()) {
        m_placement.moveTo(frame.topLeft());
    }
    m_height = frame.height();
}

void FloatingPanel::setLevel(WindowLevel level) {
    m_level = level;
    applyHints();
}

void FloatingPanel::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    applyHints();
}

// On X11 the bar moves itself: KWin does not move windows that it keeps above full-screen ones, and other
// window managers would tile a window that is dragged to an edge.
void FloatingPanel::startDrag() {
    if (platform::canPlaceWindows()) {
        m_grip = Grip{m_locationInWindow, position()};
    } else {
        startSystemMove();
    }
}

void FloatingPanel::mousePressEvent(QMouseEvent* event) {
    m_locationInWindow = event->position().toPoint();
    QQuickView::mousePressEvent(event);
}

void FloatingPanel::mouseMoveEvent(QMouseEvent* event) {
    if (m_grip) {
        m_placement.moveTo(platform::pointerTracksWindow()
                               ? event->globalPosition().toPoint() - m_grip->inWindow
                               : m_grip->origin + event->position().toPoint() - m_grip->inWindow);
    }
    QQuickView::mouseMoveEvent(event);
}

void FloatingPanel::mouseReleaseEvent(QMouseEvent* event) {
    m_grip.reset();
    QQuickView::mouseReleaseEvent(event);
}

void FloatingPanel::whenPainted(std::function<void()> then) {
    whenNextPainted(*this, std::move(then));
}

void FloatingPanel::applyHints() {
    if (!m_aboveFullScreen) {
        return;
    }
    m_aboveFullScreen->setEnabled(m_level == WindowLevel::floating);
    platform::setOnEveryDesktop(*this);
    platform::setStaysAbove(*this, m_level == WindowLevel::floating);
    platform::setSkipsTaskbar(*this, m_policy == ActivationPolicy::accessory);
}

void FloatingPanel::positionTopCenter(int offset) {
    if (const auto* screen = QGuiApplication::primaryScreen()) {
        const auto visibleFrame = screen->availableGeometry();
        m_placement.moveTo(
            {visibleFrame.x() + (visibleFrame.width() - width()) / 2, visibleFrame.y() + offset});
    }
}

void FloatingPanel::applyShape() {
    const auto& drawn = m_presenter.drawnRegion();
    // A hidden bar keeps its size for the next showing.
    if (!drawn.isEmpty()) {
        m_placement.resize({panelWidth, drawn.boundingRect().bottom() + 1});
    }
    if (m_aboveFullScreen) {
        platform::setShape(*this, drawn);
    }
}

void FloatingPanel::followScreen(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &FloatingPanel::moveBackToScreen, Qt::QueuedConnection);
}

// Returns whether enough of the bar is on a screen for the user to take hold of it.
bool FloatingPanel::isWithinReach() const {
    const QRect bar(frame().topLeft(), QSize(panelWidth, barHeight));
    return std::ranges::any_of(QGuiApplication::screens(), [&bar](const QScreen* screen) {
        const auto seen = screen->geometry() & bar;
        return seen.width() >= barHeight && seen.height() >= barHeight / 2;
    });
}

void FloatingPanel::moveBackToScreen() {
    if (!isWithinReach()) {
        positionTopCenter(offsetFromTop);
    }
}

// Nothing on the screen could bring a minimized bar back.
void FloatingPanel::restoreFromMinimized(Qt::WindowState state) {
    if (state == Qt::WindowMinimized && isVisible()) {
        hide();
        setWindowState(Qt::WindowNoState);
        orderFrontRegardless();
    }
}

} // namespace corvane

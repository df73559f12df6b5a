#include "Windows/FloatingPanel.h"

#include "Platform/Core/Log.h"
#include "Platform/Windows/AboveFullScreen.h"
#include "Platform/Windows/QuietWindow.h"
#include "Platform/Windows/UserInteraction.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Windows/FirstPainting.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QQmlEngine>
#include <QScreen>

#include <algorithm>

namespace corvane {

namespace {

using namespace std::chrono_literals;

constexpr int offsetFromTop = 54;
constexpr auto longestMove = 300ms; // until the display has told of it

void sayWhatIsDenied() {
    if (const auto denied = platform::missingWindowFeatures(); !denied.isEmpty()) {
        platform::logLine(
            QStringLiteral("[Panel] This desktop does not let the bar: %1. Rules of your own may, "
                           "see docs/desktops.md.")
                .arg(denied.join(QStringLiteral(", "))));
    }
}

} // namespace

FloatingPanel::FloatingPanel(QQmlEngine& engine, OverlayBarPresenter& presenter)
    : QQuickView(&engine, nullptr)
    , m_presenter(presenter) {
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setColor(Qt::transparent);
    setTitle(QStringLiteral("Corvane Lumetra"));
    setResizeMode(QQuickView::SizeRootObjectToView);
    resize(panelWidth, barHeight);
    connect(this, &QWindow::windowStateChanged, this, &FloatingPanel::comeBackFromIcon);
    connect(&presenter, &OverlayBarPresenter::drawnRegionChanged, this, &FloatingPanel::takeShape);
    connect(&presenter, &OverlayBarPresenter::moveWanted, this, &FloatingPanel::startDrag);
    connect(presenter.input(), &CompletionInputPresenter::focusWanted, this,
            [this] { platform::takeKeyboard(*this); });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &FloatingPanel::comeBackToAScreen,
            Qt::QueuedConnection);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &FloatingPanel::followScreen);
    std::ranges::for_each(QGuiApplication::screens(), [this](QScreen* screen) { followScreen(screen); });
    positionTopCenter(offsetFromTop);
    takeShape();
}

FloatingPanel::~FloatingPanel() = default;

// What is hidden, as the bar is while nobody is signed in, costs no start its window and content.
void FloatingPanel::prepare() {
    if (!rootObject()) {
        create();
        platform::setShowsQuietly(*this);
        sayWhatIsDenied();
        m_aboveFullScreen = std::make_unique<platform::AboveFullScreen>(*this);
        takeShape();
        setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&m_presenter)}});
        setSource(QUrl(QStringLiteral("qrc:/qt/qml/Corvane/Overlay/OverlayBarView.qml")));
    }
}

void FloatingPanel::orderFrontRegardless() {
    if (!isVisible()) {
        prepare();
        applyHints();
        QQuickView::show();
        // A window manager that sees only now to the last hiding has taken them away.
        applyHints();
        // GNOME puts what shows without the keyboard under the active window, once it does show it.
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
    return {m_arriving.hasExpired() ? position() : m_place, QSize(width(), m_height)};
}

void FloatingPanel::setFrame(const QRect& frame) {
    if (frame.topLeft() != this->frame().topLeft()) {
        moveTo(frame.topLeft());
    }
    m_height = frame.height();
}

// Steps that follow each other fast add up to the whole way, although the display tells of each one late.
void FloatingPanel::moveTo(QPoint place) {
    m_place = place;
    m_arriving.setRemainingTime(longestMove);
    setPosition(place);
}

void FloatingPanel::setLevel(WindowLevel level) {
    m_level = level;
    applyHints();
}

void FloatingPanel::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    applyHints();
}

// On X11 the bar moves itself: KWin moves no window that it keeps above full-screen ones, and others would
// tile one that is dragged to an edge.
void FloatingPanel::startDrag() {
    if (platform::canPlaceWindows()) {
        m_grip = m_pressed;
    } else {
        startSystemMove();
    }
}

void FloatingPanel::mousePressEvent(QMouseEvent* event) {
    m_pressed = event->position().toPoint();
    QQuickView::mousePressEvent(event);
}

void FloatingPanel::mouseMoveEvent(QMouseEvent* event) {
    if (m_grip) {
        moveTo(event->globalPosition().toPoint() - *m_grip);
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
        const auto free = screen->availableGeometry();
        moveTo({free.x() + (free.width() - width()) / 2, free.y() + offset});
    }
}

void FloatingPanel::takeShape() {
    const auto& drawn = m_presenter.drawnRegion();
    // What is hidden keeps its size for the next time.
    if (!drawn.isEmpty()) {
        resize(panelWidth, drawn.boundingRect().bottom() + 1);
    }
    if (m_aboveFullScreen) {
        platform::setShape(*this, drawn);
    }
}

void FloatingPanel::followScreen(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &FloatingPanel::comeBackToAScreen, Qt::QueuedConnection);
}

// The bar itself is what the window is moved by: enough of it to take hold of.
bool FloatingPanel::isWithinReach() const {
    const QRect bar(frame().topLeft(), QSize(panelWidth, barHeight));
    return std::ranges::any_of(QGuiApplication::screens(), [&bar](const QScreen* screen) {
        const auto seen = screen->geometry() & bar;
        return seen.width() >= barHeight && seen.height() >= barHeight / 2;
    });
}

void FloatingPanel::comeBackToAScreen() {
    if (!isWithinReach()) {
        positionTopCenter(offsetFromTop);
    }
}

// Nothing on the screen would bring a minimized bar back.
void FloatingPanel::comeBackFromIcon(Qt::WindowState state) {
    if (state == Qt::WindowMinimized && isVisible()) {
        hide();
        setWindowState(Qt::WindowNoState);
        orderFrontRegardless();
    }
}

} // namespace corvane

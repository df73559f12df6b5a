#include "Windows/FloatingPanel.h"

#include "Platform/Core/Log.h"
#include "Platform/Windows/AboveFullScreen.h"
#include "Platform/Windows/QuietWindow.h"
#include "Views/Overlay/OverlayBarPresenter.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>
#include <QTimer>

namespace corvane {

namespace {

using namespace std::chrono_literals;

constexpr int offsetFromTop = 54;
constexpr auto longestMove = 300ms;     // until the display has told of it
constexpr auto longestPainting = 500ms; // on a display that shows the bar to nobody it is not painted

} // namespace

FloatingPanel::FloatingPanel(QQmlEngine& engine, OverlayBarPresenter& presenter)
    : QQuickView(&engine, nullptr)
    , m_presenter(presenter) {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setColor(Qt::transparent);
    setTitle(QStringLiteral("Corvane Lumetra"));
    setResizeMode(QQuickView::SizeRootObjectToView);
    resize(panelWidth, barHeight);
    connect(this, &QWindow::windowStateChanged, this, &FloatingPanel::comeBackFromIcon);
    connect(&presenter, &OverlayBarPresenter::drawnRegionChanged, this, &FloatingPanel::takeShape);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &FloatingPanel::comeBackToAScreen,
            Qt::QueuedConnection);
    positionTopCenter(offsetFromTop);
    takeShape();
}

FloatingPanel::~FloatingPanel() = default;

// What is hidden, as the bar is while nobody is signed in, costs no start its window and content.
void FloatingPanel::prepare() {
    if (!rootObject()) {
        create();
        platform::setShowsQuietly(*this);
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
    }
    raise();
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
    takeShape();
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
    if (level == WindowLevel::floating && !platform::canStayAbove()) {
        platform::logLine(
            QStringLiteral("[Panel] This desktop does not let the bar stay above other windows"));
    }
}

void FloatingPanel::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    applyHints();
}

void FloatingPanel::whenPainted(std::function<void()> then) {
    auto* wait = new QTimer(this);
    const auto proceed = [this, wait, then = std::move(then)] {
        wait->stop();
        disconnect(this, nullptr, wait, nullptr);
        wait->deleteLater();
        then();
    };
    connect(wait, &QTimer::timeout, wait, proceed);
    connect(this, &QQuickWindow::frameSwapped, wait, proceed);
    wait->start(longestPainting);
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
    const auto needed = std::max(m_height, drawn.boundingRect().bottom() + 1);
    if (needed != height()) {
        resize(panelWidth, needed);
    }
    if (m_aboveFullScreen) {
        platform::setShape(*this, drawn);
    }
}

void FloatingPanel::comeBackToAScreen() {
    if (!QGuiApplication::screenAt(geometry().center())) {
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

#include "FloatingPanel.h"

#include "OverlayBarPresenter.h"
#include "QuietWindow.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>

namespace {

constexpr int offsetFromTop = 54;
// An empty region would lift the shape; this one lies outside the window.
const QRegion nothing(-2, -2, 1, 1);

} // namespace

FloatingPanel::FloatingPanel(OverlayBarPresenter& presenter)
    : m_presenter(presenter) {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setColor(Qt::transparent);
    setTitle(QStringLiteral("Corvane Lumetra"));
    setResizeMode(QQuickView::SizeRootObjectToView);
    resize(panelWidth, barHeight);
    engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
    setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&presenter)}});
    setSource(QUrl(QStringLiteral("qrc:/qt/qml/Corvane/Overlay/OverlayBarView.qml")));
    create();
    platform::setStaysAbove(*this, true);
    connect(&presenter, &OverlayBarPresenter::drawnRegionChanged, this, &FloatingPanel::takeShape);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &FloatingPanel::comeBackToAScreen,
            Qt::QueuedConnection);
    positionTopCenter(offsetFromTop);
    takeShape();
}

void FloatingPanel::orderFrontRegardless() {
    if (!isVisible()) {
        platform::prepareQuietShow(*this);
    }
    QQuickView::show();
    raise();
}

void FloatingPanel::orderOut() {
    hide();
}

QRect FloatingPanel::frame() const {
    return {position(), QSize(width(), m_height)};
}

void FloatingPanel::setFrame(const QRect& frame) {
    m_height = frame.height();
    setPosition(frame.topLeft());
    takeShape();
}

void FloatingPanel::setLevel(WindowLevel level) {
    platform::setStaysAbove(*this, level == WindowLevel::floating);
}

void FloatingPanel::setActivationPolicy(ActivationPolicy policy) {
    platform::setSkipsTaskbar(*this, policy == ActivationPolicy::accessory);
}

void FloatingPanel::positionTopCenter(int offset) {
    if (const auto* screen = QGuiApplication::primaryScreen()) {
        const auto free = screen->availableGeometry();
        setPosition(free.x() + (free.width() - width()) / 2, free.y() + offset);
    }
}

void FloatingPanel::takeShape() {
    const auto& drawn = m_presenter.drawnRegion();
    const auto needed = std::max(m_height, drawn.boundingRect().bottom() + 1);
    if (needed != height()) {
        resize(panelWidth, needed);
    }
    setMask(drawn.isEmpty() ? nothing : drawn);
}

void FloatingPanel::comeBackToAScreen() {
    if (!QGuiApplication::screenAt(geometry().center())) {
        positionTopCenter(offsetFromTop);
    }
}

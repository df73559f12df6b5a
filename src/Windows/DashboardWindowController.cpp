#include "DashboardWindowController.h"

#include "DashboardPresenter.h"
#include "DefaultsStore.h"
#include "QuietWindow.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>

namespace {

constexpr QSize firstSize(900, 620);
constexpr QSize smallestSize(700, 500);
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
    if (isVisible()) {
        saveFrame();
    }
}

void DashboardWindowController::showWindow() {
    if (!rootObject()) {
        setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&m_presenter)}});
        setSource(QUrl(QStringLiteral("qrc:/qt/qml/Corvane/Dashboard/DashboardView.qml")));
    }
    applyPolicy();
    show();
    // A window manager that sees only now to the last hiding has taken the hints away.
    applyPolicy();
    raise();
    requestActivate();
}

void DashboardWindowController::orderOut() {
    saveFrame();
    hide();
    setSource({});
    releaseResources();
}

void DashboardWindowController::closeEvent(QCloseEvent* event) {
    event->ignore();
    // Not while the window still handles its own event.
    QMetaObject::invokeMethod(this, &DashboardWindowController::orderOut, Qt::QueuedConnection);
}

void DashboardWindowController::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    applyPolicy();
}

void DashboardWindowController::applyPolicy() {
    create();
    platform::setSkipsTaskbar(*this, m_policy == ActivationPolicy::accessory);
}

// A frame on a screen that is gone counts as none.
void DashboardWindowController::restoreFrame() {
    const auto numbers = m_defaults.string(frameKey).value_or(QString()).split(u' ');
    if (numbers.size() == 4) {
        const QRect frame(numbers[0].toInt(), numbers[1].toInt(), numbers[2].toInt(), numbers[3].toInt());
        if (frame.isValid() && QGuiApplication::screenAt(frame.center())) {
            setGeometry(frame);
            return;
        }
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

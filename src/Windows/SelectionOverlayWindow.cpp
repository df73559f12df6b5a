#include "Windows/SelectionOverlayWindow.h"

#include "Platform/Windows/ScopedKeyboardFocus.h"

#include <QAccessibleObject>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>

namespace corvane {

namespace {

// Describes the window to assistive technology.
class SelectionAccessible : public QAccessibleObject {
public:
    using QAccessibleObject::QAccessibleObject;

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(qGuiApp); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? shown().title() : QString();
    }
    QAccessible::Role role() const override { return QAccessible::Canvas; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.focusable = true;
        state.focused = shown().isActive();
        state.invisible = !shown().isVisible();
        return state;
    }
    QRect rect() const override { return shown().geometry(); }

private:
    QWindow& shown() const { return *qobject_cast<QWindow*>(object()); }
};

} // namespace

// The window bypasses the window manager, which would keep it off panels and full-screen windows, give it the
// keyboard and show it in the taskbar.
SelectionOverlayWindow::SelectionOverlayWindow(QScreen& screen, const platform::ScreenPicture& picture)
    : m_screenIndex(std::max(0, static_cast<int>(QGuiApplication::screens().indexOf(&screen))))
    , m_selectionView(picture) {
    setFlags(Qt::BypassWindowManagerHint | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::NoDropShadowWindowHint);
    setTitle(QStringLiteral("Drag over the part of the screen to capture. After a click, Escape cancels."));
    setScreen(&screen);
    setGeometry(screen.geometry());
    setCursor(Qt::CrossCursor);
    m_selectionView.onComplete = [this](const QRectF& rect) { onSelectionComplete(rect, m_screenIndex); };
    m_selectionView.onNeedsDisplay = [this](const QRect& area) { update(area); };
    // After a change of the screens the picture no longer matches any of them.
    const auto cancel = [this] { onCancel(); };
    connect(qGuiApp, &QGuiApplication::screenAdded, this, cancel, Qt::QueuedConnection);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, cancel, Qt::QueuedConnection);
    connect(&screen, &QScreen::geometryChanged, this, cancel, Qt::QueuedConnection);
}

SelectionOverlayWindow::~SelectionOverlayWindow() = default;

void SelectionOverlayWindow::orderFrontRegardless() {
    show();
    raise();
}

void SelectionOverlayWindow::orderOut() {
    m_keyboard.reset();
    hide();
}

QAccessibleInterface* SelectionOverlayWindow::accessibleRoot() const {
    auto* self = const_cast<SelectionOverlayWindow*>(this);
    if (auto* known = QAccessible::queryAccessibleInterface(self)) {
        return known;
    }
    return QAccessible::accessibleInterface(
        QAccessible::registerAccessibleInterface(new SelectionAccessible(self)));
}

void SelectionOverlayWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        if (!isActive()) {
            m_keyboard.reset();
            m_keyboard = std::make_unique<platform::ScopedKeyboardFocus>(*this);
        }
        m_selectionView.mouseDown(event->position());
    }
}

void SelectionOverlayWindow::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons().testFlag(Qt::LeftButton)) {
        m_selectionView.mouseDragged(event->position());
    }
}

void SelectionOverlayWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        m_selectionView.mouseUp();
    }
}

void SelectionOverlayWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        onCancel();
    }
}

void SelectionOverlayWindow::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    m_selectionView.draw(painter);
}

} // namespace corvane

#include "UserHands.h"

#include "PrivateDisplay.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QWindow>

#include <stdexcept>

namespace {

struct Found {
    QAccessibleInterface* control = nullptr;
    const QWindow* window = nullptr;
};

bool isSeen(const QAccessibleInterface& item) {
    const auto state = item.state();
    return !state.invisible && !item.rect().isEmpty();
}

QAccessibleInterface* search(QAccessibleInterface* item, const QString& name) {
    if (!item || !item->isValid() || item->state().invisible) {
        return nullptr;
    }
    if (item->text(QAccessible::Name) == name && isSeen(*item) && item->role() != QAccessible::Window) {
        return item;
    }
    for (int index = 0; index < item->childCount(); ++index) {
        if (auto* found = search(item->child(index), name)) {
            return found;
        }
    }
    return nullptr;
}

Found search(const QString& name) {
    for (auto* window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible()) {
            if (auto* control = search(window->accessibleRoot(), name)) {
                return {control, window};
            }
        }
    }
    return {};
}

QString number(int value) {
    return QString::number(value);
}

} // namespace

std::optional<QRect> UserHands::find(const QString& name) const {
    const auto [control, window] = search(name);
    if (!control) {
        return std::nullopt;
    }
    const auto rect = control->rect();
    const auto ratio = window->devicePixelRatio();
    return QRect(rect.topLeft() * ratio, rect.size() * ratio);
}

bool UserHands::canUse(const QString& name) const {
    const auto [control, window] = search(name);
    return control && !control->state().disabled;
}

void UserHands::moveTo(const QString& name) const {
    const auto place = find(name);
    if (!place) {
        throw std::runtime_error("Nothing on the screen is called \"" + name.toStdString() + "\".");
    }
    const auto center = place->center();
    m_display.xdotool({QStringLiteral("mousemove"), number(center.x()), number(center.y())});
}

void UserHands::click(const QString& name) const {
    moveTo(name);
    m_display.xdotool({QStringLiteral("click"), QStringLiteral("1")});
}

void UserHands::clickAt(QPoint place) const {
    m_display.xdotool({QStringLiteral("mousemove"), number(place.x()), number(place.y()),
                       QStringLiteral("click"), QStringLiteral("1")});
}

void UserHands::drag(QPoint from, QPoint to) const {
    m_display.xdotool({QStringLiteral("mousemove"), number(from.x()), number(from.y()),
                       QStringLiteral("mousedown"), QStringLiteral("1")});
    const auto middle = (from + to) / 2;
    m_display.xdotool({QStringLiteral("mousemove"), number(middle.x()), number(middle.y()),
                       QStringLiteral("sleep"), QStringLiteral("0.1"), QStringLiteral("mousemove"),
                       number(to.x()), number(to.y()), QStringLiteral("sleep"), QStringLiteral("0.1")});
    m_display.xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
}

void UserHands::type(const QString& text) const {
    m_display.xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("5"), text});
}

void UserHands::press(const QString& keys) const {
    m_display.xdotool({QStringLiteral("key"), keys});
}

#include "sandbox/desktop/UserHands.h"

#include "sandbox/desktop/PrivateDesktop.h"

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

Found search(const QString& name, const QString& within = {}) {
    for (auto* window : QGuiApplication::topLevelWindows()) {
        // What is not yet on the screen would not take a click either.
        if (window->isVisible() && window->isExposed()) {
            auto* start = window->accessibleRoot();
            if (!within.isEmpty()) {
                start = search(start, within);
            }
            if (auto* control = search(start, name)) {
                return {control, window};
            }
        }
    }
    return {};
}

void collect(QAccessibleInterface* item, QStringList& names) {
    if (!item || !item->isValid()) {
        return;
    }
    if (const auto name = item->text(QAccessible::Name); !name.isEmpty() && isSeen(*item)) {
        names.append(name);
    }
    for (int index = 0; index < item->childCount(); ++index) {
        collect(item->child(index), names);
    }
}

} // namespace

std::optional<QRect> UserHands::find(const QString& name, const QString& within) const {
    const auto [control, window] = search(name, within);
    if (!control) {
        return std::nullopt;
    }
    const auto rect = control->rect();
    const auto ratio = window->devicePixelRatio();
    return QRect(rect.topLeft() * ratio, rect.size() * ratio);
}

QStringList UserHands::names() const {
    QStringList names;
    for (auto* window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible()) {
            collect(window->accessibleRoot(), names);
        }
    }
    return names;
}

bool UserHands::canUse(const QString& name) const {
    const auto [control, window] = search(name);
    // The accessible state does not include this.
    return control && control->object()->property("enabled").toBool();
}

void UserHands::moveTo(const QString& name, const QString& within) const {
    const auto place = find(name, within);
    if (!place) {
        throw std::runtime_error("Nothing on the screen is called \"" + name.toStdString() + "\".");
    }
    moveTo(place->center());
}

void UserHands::moveTo(QPoint place) const {
    m_desktop.movePointer(place);
}

void UserHands::click(const QString& name, const QString& within) const {
    moveTo(name, within);
    clickHere();
}

void UserHands::clickAt(QPoint place) const {
    moveTo(place);
    clickHere();
}

void UserHands::clickHere() const {
    m_desktop.setButton(true);
    m_desktop.setButton(false);
}

void UserHands::hold(QPoint place) const {
    moveTo(place);
    m_desktop.setButton(true);
}

void UserHands::letGo() const {
    m_desktop.setButton(false);
}

void UserHands::type(const QString& text) const {
    m_desktop.type(text);
}

void UserHands::press(const QString& keys) const {
    m_desktop.pressKeys(keys);
}

#pragma once

#include <QRect>
#include <QString>
#include <QStringList>

#include <optional>

class PrivateDesktop;

// Simulates a user at the windows of this process: finds controls by the names that assistive technology
// reads, and sends real pointer and key events to the display, which arrive when the event loop runs. Main
// thread. Throws std::runtime_error if something cannot be found.
class UserHands {
public:
    explicit UserHands(const PrivateDesktop& desktop)
        : m_desktop(desktop) {}

    // Returns the place of a control in pixels of the display, or nullopt if no such control is visible.
    // `within` names its container if the name alone is ambiguous.
    std::optional<QRect> find(const QString& name, const QString& within = {}) const;
    bool sees(const QString& name) const { return find(name).has_value(); }
    // Returns the names of all visible items.
    QStringList names() const;
    // Returns whether the control is visible and enabled.
    bool canUse(const QString& name) const;

    void moveTo(const QString& name, const QString& within = {}) const;
    void click(const QString& name, const QString& within = {}) const;
    void moveTo(QPoint place) const;
    void clickAt(QPoint place) const;
    // Drag with hold(), moveTo() and letGo(), running the event loop in between.
    void hold(QPoint place) const;
    void letGo() const;
    void type(const QString& text) const;
    // Key names are those of xdotool: "Return", "ctrl+v".
    void press(const QString& keys) const;

private:
    void clickHere() const;

    const PrivateDesktop& m_desktop;
};

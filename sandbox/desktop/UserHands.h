#pragma once

#include <QRect>
#include <QString>
#include <QStringList>

#include <optional>

class PrivateDesktop;

// A user at the windows of this process: finds a control by what assistive technology calls it, and uses real
// pointer and key events of the display, which arrive when the event loop runs. Main thread. What cannot be
// found throws std::runtime_error.
class UserHands {
public:
    explicit UserHands(const PrivateDesktop& desktop)
        : m_desktop(desktop) {}

    // In pixels of the display. Nothing when no such control is seen. `within` names what it stands in, where
    // the name alone is not enough.
    std::optional<QRect> find(const QString& name, const QString& within = {}) const;
    bool sees(const QString& name) const { return find(name).has_value(); }
    // What everything that is seen is called.
    QStringList names() const;
    // Whether it is seen and can be used.
    bool canUse(const QString& name) const;

    void moveTo(const QString& name, const QString& within = {}) const;
    void click(const QString& name, const QString& within = {}) const;
    void moveTo(QPoint place) const;
    void clickAt(QPoint place) const;
    // A drag: hold, move, let go, with the event loop running in between.
    void hold(QPoint place) const;
    void letGo() const;
    void type(const QString& text) const;
    // As xdotool names keys: "Return", "ctrl+v".
    void press(const QString& keys) const;

private:
    void clickHere() const;

    const PrivateDesktop& m_desktop;
};

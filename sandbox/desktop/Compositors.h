#pragma once

#include "sandbox/desktop/PrivateCompositor.h"
#include "sandbox/desktop/WaylandHands.h"

// The compositor of KDE Plasma.
class KWinCompositor : public PrivateCompositor {
public:
    explicit KWinCompositor(CompositorScreens screens);

    int scaleOfClients() const override { return screens().scale; }
    void showWorkspace(int index) const override;
    void movePointer(QPoint place) const override { hands().movePointer(place / scaleOfClients()); }
    void setButton(bool pressed) const override { hands().setButton(pressed); }
    void type(const QString& text) const override { hands().press(movesForText(text)); }
    void pressKeys(const QString& keys) const override { hands().press(movesForKeys(keys)); }
    QImage picture() const override;

private:
    // Connects on first use.
    KWinHands& hands() const;

    mutable std::unique_ptr<KWinHands> m_hands;
};

// GNOME Shell, controlled by its own scripts.
class GnomeCompositor : public PrivateCompositor {
public:
    explicit GnomeCompositor(CompositorScreens screens);

    int scaleOfClients() const override { return screens().scale; }
    void showWorkspace(int index) const override;
    void movePointer(QPoint place) const override;
    void setButton(bool pressed) const override;
    void type(const QString& text) const override { press(movesForText(text)); }
    void pressKeys(const QString& keys) const override { press(movesForKeys(keys)); }
    QImage picture() const override;

private:
    void press(const QList<KeyMove>& moves) const;
    // Returns the result of the script, as JSON.
    QString evaluate(const QString& script) const;
};

// Sway, of the wlroots family.
class SwayCompositor : public PrivateCompositor {
public:
    explicit SwayCompositor(CompositorScreens screens);

    void showWorkspace(int index) const override;
    void movePointer(QPoint place) const override { pointer().movePointer(place); }
    void setButton(bool pressed) const override { pointer().setButton(pressed); }
    void type(const QString& text) const override;
    void pressKeys(const QString& keys) const override;
    QImage picture() const override;

private:
    // Connects on first use.
    WlrootsPointer& pointer() const;

    ChildProcess m_keyboard;
    mutable std::unique_ptr<WlrootsPointer> m_pointer;
};

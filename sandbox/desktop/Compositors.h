#pragma once

#include "sandbox/desktop/PrivateCompositor.h"
#include "sandbox/desktop/WaylandHands.h"

// KDE Plasma's.
class KWinCompositor : public PrivateCompositor {
public:
    explicit KWinCompositor(QSize size);

    void movePointer(QPoint place) const override { hands().movePointer(place); }
    void setButton(bool pressed) const override { hands().setButton(pressed); }
    void type(const QString& text) const override { hands().press(movesForText(text)); }
    void pressKeys(const QString& keys) const override { hands().press(movesForKeys(keys)); }
    QImage picture() const override;

private:
    // Connects when it is first used.
    KWinHands& hands() const;

    mutable std::unique_ptr<KWinHands> m_hands;
};

// GNOME Shell, driven by its own scripts.
class GnomeCompositor : public PrivateCompositor {
public:
    explicit GnomeCompositor(QSize size);

    void movePointer(QPoint place) const override;
    void setButton(bool pressed) const override;
    void type(const QString& text) const override { press(movesForText(text)); }
    void pressKeys(const QString& keys) const override { press(movesForKeys(keys)); }
    QImage picture() const override;

private:
    void press(const QList<KeyMove>& moves) const;
    // What the script gives, as JSON.
    QString evaluate(const QString& script) const;
};

// Of the wlroots family.
class SwayCompositor : public PrivateCompositor {
public:
    explicit SwayCompositor(QSize size);

    void movePointer(QPoint place) const override { pointer().movePointer(place); }
    void setButton(bool pressed) const override { pointer().setButton(pressed); }
    void type(const QString& text) const override;
    void pressKeys(const QString& keys) const override;
    QImage picture() const override;

private:
    // Connects when it is first used.
    WlrootsPointer& pointer() const;

    ChildProcess m_keyboard;
    mutable std::unique_ptr<WlrootsPointer> m_pointer;
};

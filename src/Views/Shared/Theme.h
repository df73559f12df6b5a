#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

namespace platform {
class Appearance;
}

namespace corvane {

// The colours of every view, by role. All windows share one instance, so that they change together. Main
// thread.
class Theme : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ isDark NOTIFY changed)
    Q_PROPERTY(QColor window READ window NOTIFY changed)
    Q_PROPERTY(QColor control READ control NOTIFY changed)
    Q_PROPERTY(QColor textField READ textField NOTIFY changed)
    Q_PROPERTY(QColor separator READ separator NOTIFY changed)
    Q_PROPERTY(QColor primary READ primary NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor tertiary READ tertiary NOTIFY changed)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY changed)
    // The button across the whole width, and a button that removes something.
    Q_PROPERTY(QColor bar READ bar NOTIFY changed)
    Q_PROPERTY(QColor barDisabled READ barDisabled NOTIFY changed)
    Q_PROPERTY(QColor destructive READ destructive NOTIFY changed)
    Q_PROPERTY(QColor red READ red NOTIFY changed)
    Q_PROPERTY(QColor orange READ orange NOTIFY changed)
    Q_PROPERTY(QColor yellow READ yellow NOTIFY changed)
    Q_PROPERTY(QColor green READ green NOTIFY changed)
    Q_PROPERTY(QColor blue READ blue NOTIFY changed)
    Q_PROPERTY(QColor gray READ gray NOTIFY changed)
    Q_PROPERTY(QColor material READ material NOTIFY changed)
    Q_PROPERTY(QColor shadow READ shadow NOTIFY changed)
    Q_PROPERTY(QColor focus READ focus NOTIFY changed)

public:
    static Theme& shared();
    static Theme* create(QQmlEngine* engine, QJSEngine* scripts);

    // Follows the appearance, or is light when it is null. The appearance has to outlive the theme's use of
    // it.
    void follow(platform::Appearance* appearance);

    // Text colours have a contrast of at least 4.5 to 1 to the window, a control and the material.
    bool isDark() const { return m_dark; }
    QColor window() const { return pick(0xFFECECEE, 0xFF1E1E20); }
    QColor control() const { return pick(0xFFFFFFFF, 0xFF3A3A3D); }
    QColor textField() const { return pick(0xFFFFFFFF, 0xFF2A2A2C); }
    QColor separator() const { return pick(0xFF6E6E73, 0xFFA0A0A6); }
    QColor primary() const { return pick(0xFF1D1D1F, 0xFFF2F2F4); }
    QColor secondary() const { return pick(0xFF5A5A5F, 0xFFB4B4BA); }
    QColor tertiary() const { return pick(0xFF68686D, 0xFFA6A6AC); }
    QColor accent() const { return pick(0xFF0A63D1, 0xFF2A6FDB); }
    QColor onAccent() const { return QColor(Qt::white); }
    QColor bar() const { return pick(0xFF111113, 0xFF000000); }
    QColor barDisabled() const { return pick(0x99555555, 0x99555555); }
    QColor destructive() const { return pick(0xFFC9281C, 0xFFB3372F); }
    QColor red() const { return pick(0xFFC9281C, 0xFFFF7F77); }
    QColor orange() const { return pick(0xFFA94D07, 0xFFFFA94A); }
    QColor yellow() const { return pick(0xFFC79A00, 0xFFFFD60A); }
    QColor green() const { return pick(0xFF187733, 0xFF4CD964); }
    QColor blue() const { return pick(0xFF0A63D1, 0xFF6AA8FF); }
    QColor gray() const { return pick(0xFF77777C, 0xFF96969C); }
    // The background of a window, used with the opacity that the settings give.
    QColor material() const { return pick(0xFFF4F4F6, 0xFF262629); }
    QColor shadow() const { return QColor(Qt::black); }
    QColor focus() const { return pick(0xFF1F74E8, 0xFF6AA8FF); }

Q_SIGNALS:
    void changed();

private:
    // Private: with a public constructor the engine would create an instance of its own and not call
    // create().
    Theme() = default;

    QColor pick(QRgb light, QRgb dark) const { return QColor::fromRgba(m_dark ? dark : light); }
    void setDark(bool dark);

    bool m_dark = false;
    QMetaObject::Connection m_following;
};

} // namespace corvane

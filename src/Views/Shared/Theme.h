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
    Q_PROPERTY(QColor raised READ raised NOTIFY changed)
    Q_PROPERTY(QColor textField READ textField NOTIFY changed)
    Q_PROPERTY(QColor separator READ separator NOTIFY changed)
    Q_PROPERTY(QColor primary READ primary NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor tertiary READ tertiary NOTIFY changed)
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor onAccent READ onAccent NOTIFY changed)
    Q_PROPERTY(QColor link READ link NOTIFY changed)
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

    // Text has a contrast of at least 4.5 to 1 to what it is written on, a mark that carries meaning one of 3
    // to 1, and a surface one of 1.3 to 1 to the ground around it.
    bool isDark() const { return m_dark; }
    QColor window() const { return pick(0xFFE0E0E4, 0xFF1E1E20); }
    // For cards and the buttons on them, which lay it thinly over their ground: white would not show there.
    QColor control() const { return pick(0xFF9C9CA2, 0xFF606066); }
    // For solid surfaces: the sign-in card, push buttons, keys.
    QColor raised() const { return pick(0xFFFFFFFF, 0xFF3A3A3D); }
    QColor textField() const { return pick(0xFFFFFFFF, 0xFF2A2A2C); }
    QColor separator() const { return pick(0xFF313136, 0xFFACACB2); }
    QColor primary() const { return pick(0xFF1D1D1F, 0xFFF2F2F4); }
    QColor secondary() const { return pick(0xFF44444A, 0xFFC8C8CE); }
    QColor tertiary() const { return pick(0xFF57575C, 0xFFAAAAB0); }
    QColor accent() const { return pick(0xFF0A63D1, 0xFF2A6FDB); }
    QColor onAccent() const { return QColor(Qt::white); }
    QColor link() const { return pick(0xFF0A4A9E, 0xFF8ABBFF); }
    QColor bar() const { return pick(0xFF111113, 0xFF000000); }
    QColor barDisabled() const { return pick(0x99555555, 0x99555555); }
    QColor destructive() const { return pick(0xFFC9281C, 0xFFB3372F); }
    QColor red() const { return pick(0xFFB3231A, 0xFFFF7F77); }
    QColor orange() const { return pick(0xFF863902, 0xFFFFA94A); }
    QColor yellow() const { return pick(0xFFAC8400, 0xFFFFD60A); }
    QColor green() const { return pick(0xFF146B2C, 0xFF4CD964); }
    QColor blue() const { return pick(0xFF0A63D1, 0xFF6AA8FF); }
    QColor gray() const { return pick(0xFF5A5A5F, 0xFF96969C); }
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

#include "Views/Shared/Symbol.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

namespace corvane {

namespace {

constexpr double pictureScale = 1.15; // relative to the size of the text

}

Symbol::Symbol(QQuickItem* parent)
    : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    setImplicitSize(m_size * pictureScale, m_size * pictureScale);
}

void Symbol::setName(const QString& name) {
    if (std::exchange(m_name, name) != name) {
        Q_EMIT nameChanged();
        update();
    }
}

void Symbol::setSize(double size) {
    if (std::exchange(m_size, size) != size) {
        setImplicitSize(size * pictureScale, size * pictureScale);
        Q_EMIT sizeChanged();
        update();
    }
}

void Symbol::setColor(const QColor& color) {
    if (std::exchange(m_color, color) != color) {
        Q_EMIT colorChanged();
        update();
    }
}

void Symbol::paint(QPainter* painter) {
    QFile file(QStringLiteral(":/symbols/") + m_name + QStringLiteral(".svg"));
    if (m_name.isEmpty()) {
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("There is no picture for the symbol \"%s\"", qUtf8Printable(m_name));
        return;
    }
    auto picture = file.readAll();
    // The colour in the SVG has no opacity, so the painter applies it.
    picture.replace("currentColor", m_color.name(QColor::HexRgb).toLatin1());
    painter->setOpacity(m_color.alphaF());
    QSvgRenderer(picture).render(painter, boundingRect());
}

} // namespace corvane

#pragma once

#include <QUrl>

namespace corvane {

// Returns the address of the root view of a window. `file` is its path within the module, such as
// "Overlay/OverlayBarView.qml".
inline QUrl contentView(const char* file) {
    return QUrl(QStringLiteral("qrc:/qt/qml/Corvane/") + QLatin1String(file));
}

} // namespace corvane

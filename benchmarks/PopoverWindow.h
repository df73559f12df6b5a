#pragma once

#include "Views/Overlay/ResponsePopoverPresenter.h"

#include <QQmlEngine>
#include <QQuickView>

namespace corvane {

// The popover in a window of its own, drawn by the software renderer as in the program.
class PopoverWindow : public QQuickView {
public:
    explicit PopoverWindow(ResponsePopoverPresenter& presenter) {
        engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
        setResizeMode(SizeRootObjectToView);
        setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&presenter)}});
        setSource(QUrl(QStringLiteral("qrc:/qt/qml/Corvane/Overlay/ResponsePopoverView.qml")));
        resize(620, 652);
        show();
    }

    // Sets the environment. Call it before the application object is created.
    static void chooseRenderer() {
        qputenv("QT_QUICK_BACKEND", "software");
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    }
};

} // namespace corvane

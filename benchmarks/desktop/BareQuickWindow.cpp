// A minimal Qt Quick program: a window of the bar's size with a text, a field and a button.
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQuickView>

#include <memory>

int main(int argc, char* argv[]) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication application(argc, argv);
    QQuickView view;
    QQmlComponent component(view.engine());
    component.setData(R"(
import QtQuick
import QtQuick.Templates as T
Rectangle {
    width: 620; height: 300; color: "white"
    Column {
        x: 20; y: 20; spacing: 10
        Text { text: "A bare window"; font.pixelSize: 16 }
        T.TextField { width: 200; height: 30; text: "field" }
        T.Button { implicitWidth: 100; implicitHeight: 30; contentItem: Text { text: "Button" } }
    }
}
)",
                      QUrl());
    view.setContent(QUrl(), &component, component.create());
    view.show();
    return QGuiApplication::exec();
}

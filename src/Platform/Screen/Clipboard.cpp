#include "Platform/Screen/Clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace platform {

namespace {

class DesktopClipboard : public Clipboard {
public:
    void setPicture(const QByteArray& png) override {
        // The file as it is: as a QImage it would be compressed anew for each program that pastes it.
        auto* data = new QMimeData;
        data->setData(QStringLiteral("image/png"), png);
        QGuiApplication::clipboard()->setMimeData(data);
    }
};

} // namespace

std::unique_ptr<Clipboard> makeDesktopClipboard() {
    return std::make_unique<DesktopClipboard>();
}

} // namespace platform

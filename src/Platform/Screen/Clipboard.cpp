#include "Platform/Screen/Clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace platform {

namespace {

class DesktopClipboard : public Clipboard {
public:
    void setPicture(const QByteArray& png) override {
        // The PNG itself: a QImage would be compressed again for each program that pastes it.
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

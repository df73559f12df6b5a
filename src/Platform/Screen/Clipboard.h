#pragma once

#include <QByteArray>

#include <memory>

namespace platform {

// The desktop's clipboard. Main thread.
class Clipboard {
public:
    virtual ~Clipboard() = default;

    // Offers a picture for pasting, for as long as this process runs or a clipboard manager keeps it.
    virtual void setPicture(const QByteArray& png) = 0;
};

// Needs a QGuiApplication when it is used.
std::unique_ptr<Clipboard> makeDesktopClipboard();

} // namespace platform

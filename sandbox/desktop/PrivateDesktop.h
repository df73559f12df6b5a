#pragma once

#include <QImage>
#include <QPoint>
#include <QSize>
#include <QString>

// Programs show their windows on it, and nobody looks: it takes what a user's hands do, and gives pictures.
// Places are in pixels, as X clients count them. Operations block until the desktop has been told and throw
// std::runtime_error; what they cause arrives when the event loop runs.
class PrivateDesktop {
public:
    PrivateDesktop() = default;
    virtual ~PrivateDesktop() = default;
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

    virtual QSize size() const = 0;
    // From now on this process and its children are its clients.
    virtual void useInThisProcess() const = 0;

    virtual void movePointer(QPoint place) const = 0;
    // The left one.
    virtual void setButton(bool pressed) const = 0;
    // What a US keyboard has.
    virtual void type(const QString& text) const = 0;
    // As xdotool names keys: "Return", "ctrl+v".
    virtual void pressKeys(const QString& keys) const = 0;

    // All of it. Needs the application object.
    virtual QImage picture() const = 0;
};

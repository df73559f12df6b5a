#pragma once

#include <QImage>
#include <QPoint>
#include <QSize>
#include <QString>

// A desktop without a screen, for programs under test: it takes simulated input and provides screenshots.
// Places are in pixels, as X clients count them. Operations block until the desktop has been told, and throw
// std::runtime_error; their effects arrive when the event loop runs.
class PrivateDesktop {
public:
    PrivateDesktop() = default;
    virtual ~PrivateDesktop() = default;
    PrivateDesktop(const PrivateDesktop&) = delete;
    PrivateDesktop& operator=(const PrivateDesktop&) = delete;

    virtual QSize size() const = 0;
    // Makes this process and its children clients of the desktop.
    virtual void useInThisProcess() const = 0;

    virtual void movePointer(QPoint place) const = 0;
    // Presses or releases the left button.
    virtual void setButton(bool pressed) const = 0;
    // Types characters of a US keyboard.
    virtual void type(const QString& text) const = 0;
    // Presses keys by their xdotool names: "Return", "ctrl+v".
    virtual void pressKeys(const QString& keys) const = 0;

    // Returns a screenshot of the whole desktop. Needs the application object.
    virtual QImage picture() const = 0;
};

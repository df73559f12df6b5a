#pragma once

#include "Platform/Desktop/Notifications.h"
#include "Platform/Screen/Clipboard.h"
#include "Platform/Screen/ScreenGrabber.h"

#include <QStringList>

// Screens that show what the test sets, or that cannot be read when `error` is set.
class FakeScreenGrabber : public platform::ScreenGrabber {
public:
    QCoro::Task<QList<platform::ScreenPicture>> grabScreens() override {
        ++grabs;
        if (!error.empty()) {
            throw platform::ScreenGrabError(error);
        }
        // Returned by itself it would be moved from, by a fault of g++ 12.
        auto copy = pictures;
        co_return copy;
    }

    QList<platform::ScreenPicture> pictures;
    std::string error;
    int grabs = 0;
};

class FakeClipboard : public platform::Clipboard {
public:
    void setPicture(const QByteArray& png) override { picture = png; }

    QByteArray picture;
};

class FakeNotifications : public platform::Notifications {
public:
    void show(const QString& title, const QString& body) override { shown.append(title + ": " + body); }

    QStringList shown;
};

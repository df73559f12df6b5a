#pragma once

#include <QImage>

// Part of an endless picture of which each pixel, up to 4096 of them each way, has a colour of its own.
inline QImage patternImage(const QRect& part) {
    QImage image(part.size(), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto place = part.topLeft() + QPoint(x, y);
            image.setPixel(x, y,
                           qRgb(place.x() % 256, place.y() % 256, place.x() / 256 + 16 * (place.y() / 256)));
        }
    }
    return image;
}

#include "Sight.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <stdexcept>

namespace {

constexpr std::size_t lettering = 8; // colours at least, from the smoothing of letters

}

Sight::Sight(const QString& display)
    : m_connection(xcb_connect(display.toLatin1().constData(), nullptr)) {
    if (xcb_connection_has_error(m_connection)) {
        throw std::runtime_error("No connection to the display.");
    }
    m_empty = pixels();
}

Sight::~Sight() {
    xcb_disconnect(m_connection);
}

std::vector<std::uint32_t> Sight::pixels() const {
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    const auto request = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                       screen->width_in_pixels, screen->height_in_pixels, ~0U);
    const std::unique_ptr<xcb_get_image_reply_t, void (*)(void*)> reply(
        xcb_get_image_reply(m_connection, request, nullptr), std::free);
    std::vector<std::uint32_t> result;
    if (reply) {
        result.resize(static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) /
                      sizeof(std::uint32_t));
        std::memcpy(result.data(), xcb_get_image_data(reply.get()), result.size() * sizeof(std::uint32_t));
    }
    return result;
}

bool Sight::isPainted() const {
    const auto now = pixels();
    std::set<std::uint32_t> colours;
    for (std::size_t i = 0; i < now.size() && i < m_empty.size() && colours.size() < lettering; ++i) {
        if (now[i] != m_empty[i]) {
            colours.insert(now[i]);
        }
    }
    return colours.size() >= lettering;
}

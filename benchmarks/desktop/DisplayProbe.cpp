#include "benchmarks/desktop/DisplayProbe.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <span>
#include <stdexcept>

namespace {

template<typename T>
using Reply = std::unique_ptr<T, void (*)(void*)>;

constexpr std::size_t lettering = 8; // minimum number of colours, from the smoothing of letters

} // namespace

DisplayProbe::DisplayProbe(const QString& display)
    : m_connection(xcb_connect(display.toLatin1().constData(), nullptr)) {
    if (xcb_connection_has_error(m_connection)) {
        throw std::runtime_error("No connection to the display.");
    }
    m_empty = pixels();
}

DisplayProbe::~DisplayProbe() {
    xcb_disconnect(m_connection);
}

std::vector<std::uint32_t> DisplayProbe::pixels() const {
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    const auto request = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                       screen->width_in_pixels, screen->height_in_pixels, ~0U);
    const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(m_connection, request, nullptr), std::free);
    std::vector<std::uint32_t> result;
    if (reply) {
        result.resize(static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) /
                      sizeof(std::uint32_t));
        std::memcpy(result.data(), xcb_get_image_data(reply.get()), result.size() * sizeof(std::uint32_t));
    }
    return result;
}

// A cheap check first, because the display's server is busy with the starting program.
bool DisplayProbe::showsWindows() const {
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, root), nullptr), std::free);
    if (!tree) {
        return false;
    }
    const std::span windows(xcb_query_tree_children(tree.get()),
                            static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
    return std::ranges::any_of(windows, [this](xcb_window_t window) {
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(m_connection, xcb_get_window_attributes(m_connection, window),
                                            nullptr),
            std::free);
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    });
}

bool DisplayProbe::isPainted() const {
    if (!showsWindows()) {
        return false;
    }
    const auto now = pixels();
    std::set<std::uint32_t> colours;
    std::uint32_t last = 0; // skips runs of one colour
    for (std::size_t i = 0; i < now.size() && i < m_empty.size() && colours.size() < lettering; ++i) {
        if (now[i] != m_empty[i] && now[i] != std::exchange(last, now[i])) {
            colours.insert(now[i]);
        }
    }
    return colours.size() >= lettering;
}

#include "Platform/Network/InterimResponses.h"

#include "Platform/Network/Transport.h"

#include <algorithm>

namespace platform {

namespace {

constexpr std::string_view start = "HTTP/1.";
constexpr std::size_t statusEnd = 12; // length of "HTTP/1.1 103"
// A longer head is passed on as if it were final.
constexpr std::size_t maxHeadBytes = 16 * 1024;

bool isInterim(int status) {
    return status >= 100 && status <= 199 && status != 101;
}

} // namespace

std::string InterimResponses::pass(std::string_view piece) {
    m_kept += piece;
    while (!m_over) {
        const auto known = std::min(m_kept.size(), start.size());
        if (m_kept.compare(0, known, start, 0, known) != 0) {
            break;
        }
        if (m_kept.size() < statusEnd) {
            return {};
        }
        if (!isInterim(httpStatusOf(m_kept.data(), m_kept.size())) || m_kept.size() > maxHeadBytes) {
            break;
        }
        const auto end = m_kept.find("\r\n\r\n");
        if (end == std::string::npos) {
            return {};
        }
        m_kept.erase(0, end + 4);
    }
    m_over = true;
    return std::exchange(m_kept, {});
}

} // namespace platform

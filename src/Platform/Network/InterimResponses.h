#pragma once

#include <string>
#include <string_view>

namespace platform {

// Takes interim answers (RFC 9110, 15.2: 100 to 199, but for 101) out of the bytes that come before the real
// one.
class InterimResponses {
public:
    // Gives what may be read on, and keeps what it cannot judge yet.
    std::string pass(std::string_view piece);
    // The real answer has begun: nothing needs to be passed any more.
    bool isOver() const { return m_over; }
    bool hasKept() const { return !m_kept.empty(); }

private:
    std::string m_kept;
    bool m_over = false;
};

} // namespace platform

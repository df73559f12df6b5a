#pragma once

#include <string>
#include <string_view>

namespace platform {

// Removes interim responses (RFC 9110, 15.2: statuses 100 to 199 except 101) from the bytes before the final
// response.
class InterimResponses {
public:
    // Returns the bytes that may be read, and keeps those that it cannot judge yet.
    std::string pass(std::string_view piece);
    // Returns whether the final response has begun, after which bytes need not be passed through any more.
    bool isOver() const { return m_over; }
    bool hasKept() const { return !m_kept.empty(); }

private:
    std::string m_kept;
    bool m_over = false;
};

} // namespace platform

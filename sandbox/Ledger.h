// What the stand-in has seen, in words. Contains no token, code or body.
#pragma once

#include <deque>
#include <functional>
#include <string>

namespace sandbox {

// Network thread only.
class Ledger {
public:
    // Called with each new line, for instance to print it to standard error.
    std::function<void(const std::string&)> print;

    void request(std::string line) {
        if (print) {
            print(line);
        }
        keep(m_requests, std::move(line));
    }
    // The program did something that it must not do.
    void violation(std::string what) {
        if (print) {
            print("VIOLATION " + what);
        }
        keep(m_violations, std::move(what));
    }
    const std::deque<std::string>& requests() const { return m_requests; }
    const std::deque<std::string>& violations() const { return m_violations; }

private:
    static void keep(std::deque<std::string>& lines, std::string line) {
        constexpr std::size_t bound = 500;
        lines.push_back(std::move(line));
        if (lines.size() > bound) {
            lines.pop_front();
        }
    }

    std::deque<std::string> m_requests;
    std::deque<std::string> m_violations;
};

} // namespace sandbox

#pragma once

#include <QString>

#include <cstdint>
#include <vector>

struct xcb_connection_t;

// Examines what an X display shows, from outside the programs on it.
class DisplayProbe {
public:
    explicit DisplayProbe(const QString& display);
    ~DisplayProbe();
    DisplayProbe(const DisplayProbe&) = delete;
    DisplayProbe& operator=(const DisplayProbe&) = delete;

    // Returns whether text has been drawn since construction, and not only a background.
    bool isPainted() const;

private:
    std::vector<std::uint32_t> pixels() const;
    bool showsWindows() const;

    xcb_connection_t* m_connection;
    std::vector<std::uint32_t> m_empty;
};

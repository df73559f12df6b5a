#pragma once

#include <QString>

#include <cstdint>
#include <vector>

struct xcb_connection_t;

// What an X display shows, looked at from outside of the programs on it.
class DisplayProbe {
public:
    explicit DisplayProbe(const QString& display);
    ~DisplayProbe();
    DisplayProbe(const DisplayProbe&) = delete;
    DisplayProbe& operator=(const DisplayProbe&) = delete;

    // Whether something has been drawn since the construction: lettering, not only a ground.
    bool isPainted() const;

private:
    std::vector<std::uint32_t> pixels() const;
    bool showsWindows() const;

    xcb_connection_t* m_connection;
    std::vector<std::uint32_t> m_empty;
};

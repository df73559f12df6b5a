#pragma once

#include <QString>

#include <cstdint>
#include <vector>

struct xcb_connection_t;

// What an X display shows, looked at from outside of the programs on it.
class Sight {
public:
    explicit Sight(const QString& display);
    ~Sight();
    Sight(const Sight&) = delete;
    Sight& operator=(const Sight&) = delete;

    // Whether something has been drawn since the construction: lettering, not only a ground.
    bool isPainted() const;

private:
    std::vector<std::uint32_t> pixels() const;
    bool showsWindows() const;

    xcb_connection_t* m_connection;
    std::vector<std::uint32_t> m_empty;
};

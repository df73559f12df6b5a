#pragma once

#include <QObject>

#include <memory>
#include <optional>

namespace platform {

enum class ColorScheme { light, dark };

// The effective colour scheme: the desktop's preference, unless the user has picked a scheme for this
// program. Main thread.
class Appearance : public QObject {
    Q_OBJECT

public:
    ColorScheme effective() const { return m_picked.value_or(m_desktop); }
    // Overrides the desktop's preference; nullopt follows the desktop again.
    void pick(std::optional<ColorScheme> scheme);

Q_SIGNALS:
    void effectiveChanged();

protected:
    void setDesktopScheme(ColorScheme scheme);

private:
    void change(auto&& assign);

    std::optional<ColorScheme> m_picked;
    ColorScheme m_desktop = ColorScheme::light;
};

// Reads the desktop's preference from the settings portal (org.freedesktop.appearance) and follows it while
// the program runs. The scheme is light without a portal.
std::unique_ptr<Appearance> makeDesktopAppearance();

} // namespace platform

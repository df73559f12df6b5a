#pragma once

#include <QObject>

#include <memory>
#include <optional>

namespace platform {

enum class ColorScheme { light, dark };

// Light or dark: what the desktop prefers, unless the user has picked one for this program. Main thread.
class Appearance : public QObject {
    Q_OBJECT

public:
    ColorScheme effective() const { return m_picked.value_or(m_desktop); }
    // Nothing follows the desktop.
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

// The desktop's preference from the settings portal (org.freedesktop.appearance), followed while the program
// runs. Without a portal: light.
std::unique_ptr<Appearance> makeDesktopAppearance();

} // namespace platform

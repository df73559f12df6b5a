#pragma once

#include <QObject>
#include <QProperty>

namespace corvane {

class ApplicationWindows;
class SettingsViewModel;
class WebSocketService;

// Whether the floating panel is shown, and its height. The views decide when it grows and shrinks. Main
// thread.
class OverlayViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isHidden READ isHidden WRITE setIsHidden NOTIFY isHiddenChanged)
    Q_PROPERTY(
        bool shouldFocusInput READ shouldFocusInput WRITE setShouldFocusInput NOTIFY shouldFocusInputChanged)
    Q_PROPERTY(double panelHeight READ panelHeight NOTIFY panelHeightChanged)

public:
    static constexpr double collapsedHeight = 48.0;
    static constexpr double expandedHeight = 700.0;

    OverlayViewModel(WebSocketService& webSocket, SettingsViewModel& settings, ApplicationWindows& windows);

    // Returns whether the user has hidden the panel. The views then draw nothing and take no clicks.
    bool isHidden() const { return m_isHidden; }
    void setIsHidden(bool hidden) { m_isHidden = hidden; }
    // A one-time request: the id field takes the keyboard and clears it.
    bool shouldFocusInput() const { return m_shouldFocusInput; }
    void setShouldFocusInput(bool should) { m_shouldFocusInput = should; }
    // Returns the height that was applied last, in device-independent pixels.
    double panelHeight() const { return m_panelHeight; }

    // These change the height and keep the top edge in place. They do nothing when the height is the one that
    // was applied last.
    void collapsePanel() { applyHeight(collapsedHeight); }
    void expandPanel() { applyHeight(expandedHeight); }

    WebSocketService& webSocket() const { return m_webSocket; }
    SettingsViewModel& settings() const { return m_settings; }

Q_SIGNALS:
    void isHiddenChanged();
    void shouldFocusInputChanged();
    void panelHeightChanged();

private:
    void applyHeight(double height);

    using Self = OverlayViewModel;
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isHidden, false, &Self::isHiddenChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_shouldFocusInput, false,
                                         &Self::shouldFocusInputChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, double, m_panelHeight, collapsedHeight,
                                         &Self::panelHeightChanged)

    WebSocketService& m_webSocket;
    SettingsViewModel& m_settings;
    ApplicationWindows& m_windows;
};

} // namespace corvane

#pragma once

#include <QObject>
#include <QProperty>

namespace corvane {

class ApplicationWindows;
class SettingsViewModel;
class WebSocketService;

// Whether the floating panel shows, and how high it is. The views say when it grows and shrinks. Main thread.
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

    // Hidden by the user: the views draw nothing and take no clicks.
    bool isHidden() const { return m_isHidden; }
    void setIsHidden(bool hidden) { m_isHidden = hidden; }
    // One-shot: the id field takes the keyboard and sets it back.
    bool shouldFocusInput() const { return m_shouldFocusInput; }
    void setShouldFocusInput(bool should) { m_shouldFocusInput = should; }
    // The height last applied, in device-independent pixels.
    double panelHeight() const { return m_panelHeight; }

    // The top edge stays where it is. Nothing happens when the height was applied before.
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

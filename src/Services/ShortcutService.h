#pragma once

#include "Models/ShortcutModels.h"
#include "Platform/Core/Clock.h"
#include "Platform/Input/KeyMonitor.h"
#include "Services/KeyString.h"

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace platform {
class DefaultsStore;
}

namespace corvane {

// Called for every shortcut that fires. Main thread.
class ShortcutServiceDelegate {
public:
    virtual void shortcutTriggered(ShortcutAction action) = 0;

protected:
    ~ShortcutServiceDelegate() = default;
};

// Watches the keyboard, in this program and in all others, for the keys of the shortcuts table. Main thread.
class ShortcutService : public QObject {
    Q_OBJECT

public:
    // Loads the table without watching any key yet. The delegate has to outlive this object.
    ShortcutService(ShortcutServiceDelegate& delegate, platform::KeyMonitor& keys,
                    platform::DefaultsStore& defaults, platform::Clock& clock);
    ~ShortcutService() override;

    // A change of the table takes effect with the next key.
    const ShortcutsConfig& config() const { return m_config; }
    void setConfig(const ShortcutsConfig& config);
    void saveConfig();
    // Changes the values that are given and saves the table. An action without a binding gets one.
    void updateBinding(ShortcutAction action, const std::optional<QString>& key,
                       const std::optional<bool>& enabled);
    // Sets all actions to their defaults and saves the table.
    void resetToDefaults();

    void registerAll();
    void unregisterAll();

    // Returns where the key of the action is seen at present.
    platform::KeyReach reach(ShortcutAction action) const;
    // Returns the enabled actions whose keys the desktop uses itself, by its present settings.
    QList<ShortcutAction> takenByDesktop() const;
    // Gives these actions keys that desktops leave to programs, and saves the table.
    void useFreeKeys(QList<ShortcutAction> actions);
    // Returns whether the desktop was asked to watch the keys in other programs and does not allow it.
    bool isRefusedByDesktop() const { return m_keys.isRefusedByDesktop(); }
    // Returns the desktop's description of the key that it watches for the action, or an empty text.
    QString desktopTrigger(ShortcutAction action) const;

    // Records the next key that is pressed in one of this program's windows. `done` receives it as the table
    // writes it; an empty text for Backspace alone; and nullopt for Escape alone or when the focus moves to
    // another window. A modifier alone, a repeat, and a key that the table cannot name are ignored. No
    // shortcut fires until `done` has been called.
    using Recorded = std::function<void(const std::optional<QString>& key)>;
    void recordNextKey(Recorded done);
    // Ends the recording and calls `done` with nullopt. Does nothing when no key is being recorded.
    void stopRecording();
    bool isRecording() const { return m_recorded != nullptr; }

    // Returns whether a binding matched, in which case the delegate has been called.
    bool handleKeyDown(const platform::KeyEvent& event);

Q_SIGNALS:
    void configChanged();
    // reach() or desktopTrigger() may return something else now.
    void reachChanged();
    void isRecordingChanged();

private:
    struct Key {
        KeyString key;
        ShortcutAction action;
    };

    void load();
    void parseKeys();
    void offerToDesktop();
    bool handleLocalKeyDown(const platform::KeyEvent& event);
    void handleKeyUp();
    void handleAction(ShortcutAction action, bool isRepeat);
    void handleDesktopShortcut(const QString& id);
    void record(const platform::KeyEvent& event);
    void finishRecording(const std::optional<QString>& key);

    ShortcutServiceDelegate& m_delegate;
    platform::KeyMonitor& m_keys;
    platform::DefaultsStore& m_defaults;
    platform::Clock& m_clock;
    ShortcutsConfig m_config;
    std::vector<Key> m_parsed; // the enabled bindings, in the order of the table
    Recorded m_recorded;
    bool m_isRecordedHeld = false; // the key that was recorded last has not been released

    std::unique_ptr<platform::KeyMonitor::Handle> m_globalMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_globalKeyUpMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_localMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_localKeyUpMonitor;
    // The timers of the move actions whose keys are held.
    std::map<ShortcutAction, std::unique_ptr<platform::Timer>> m_moveTimers;
};

} // namespace corvane

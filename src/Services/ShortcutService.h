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

// Told of every shortcut that fires. Main thread.
class ShortcutServiceDelegate {
public:
    virtual void shortcutTriggered(ShortcutAction action) = 0;

protected:
    ~ShortcutServiceDelegate() = default;
};

// Watches the keyboard, in this program and in all others, for the keys of the user's table. Main thread.
class ShortcutService : public QObject {
    Q_OBJECT

public:
    // Loads the table; watches nothing yet. The delegate outlives this.
    ShortcutService(ShortcutServiceDelegate& delegate, platform::KeyMonitor& keys,
                    platform::DefaultsStore& defaults, platform::Clock& clock);
    ~ShortcutService() override;

    // A change acts at the next key.
    const ShortcutsConfig& config() const { return m_config; }
    void setConfig(const ShortcutsConfig& config);
    void saveConfig();
    // Changes what is given, and saves. An action that has no binding gets one.
    void updateBinding(ShortcutAction action, const std::optional<QString>& key,
                       const std::optional<bool>& enabled);
    // The defaults of all actions, saved.
    void resetToDefaults();

    void registerAll();
    void unregisterAll();

    // Where the action's key is seen now.
    platform::KeyReach reach(ShortcutAction action) const;
    // The enabled actions whose keys the desktop acts on itself, as it is set now.
    QList<ShortcutAction> takenByDesktop() const;
    // These get keys that desktops leave to programs, saved.
    void useFreeKeys(QList<ShortcutAction> actions);
    // The desktop was asked to watch the keys in other programs, and does not allow it.
    bool isRefusedByDesktop() const { return m_keys.isRefusedByDesktop(); }
    // The desktop's own words for the key that it watches for the action; empty where it watches none.
    QString desktopTrigger(ShortcutAction action) const;

    // The next key that is pressed in one of this program's windows: as the table writes it, empty for
    // Backspace alone, nothing for Escape alone, or when the focus goes elsewhere. A modifier alone, a repeat
    // and a key that the table cannot name are passed over. No shortcut fires before `done` was called.
    using Recorded = std::function<void(const std::optional<QString>& key)>;
    void recordNextKey(Recorded done);
    // Gives it up; `done` is called with nothing. Does nothing when nothing is recorded.
    void stopRecording();
    bool isRecording() const { return m_recorded != nullptr; }

    // Whether a binding matched. Once it did, its delegate has been told.
    bool handleKeyDown(const platform::KeyEvent& event);

Q_SIGNALS:
    void configChanged();
    // Of reach() and desktopTrigger().
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
    std::vector<Key> m_parsed; // of what is enabled, in the order of the table
    Recorded m_recorded;
    bool m_isRecordedHeld = false; // the last key that was pressed to be recorded

    std::unique_ptr<platform::KeyMonitor::Handle> m_globalMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_globalKeyUpMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_localMonitor;
    std::unique_ptr<platform::KeyMonitor::Handle> m_localKeyUpMonitor;
    // Of the move actions whose key is held.
    std::map<ShortcutAction, std::unique_ptr<platform::Timer>> m_moveTimers;
};

} // namespace corvane

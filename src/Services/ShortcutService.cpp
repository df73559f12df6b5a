#include "Services/ShortcutService.h"

#include "Platform/Storage/DefaultsStore.h"

#include <algorithm>
#include <utility>

namespace corvane {

using platform::KeyEvent;
using platform::KeyMask;
using platform::KeyReach;
namespace modifier = platform::modifier;
namespace keycode = platform::keycode;

namespace {

constexpr auto storeKey = "shortcuts_config";
constexpr auto movePace = std::chrono::milliseconds(16);

} // namespace

ShortcutService::ShortcutService(ShortcutServiceDelegate& delegate, platform::KeyMonitor& keys,
                                 platform::DefaultsStore& defaults, platform::Clock& clock)
    : m_delegate(delegate)
    , m_keys(keys)
    , m_defaults(defaults)
    , m_clock(clock) {
    load();
    parseKeys();
    connect(&keys, &platform::KeyMonitor::reachChanged, this, &ShortcutService::reachChanged);
    connect(&keys, &platform::KeyMonitor::keysLost, this, &ShortcutService::handleKeyUp);
    connect(&keys, &platform::KeyMonitor::focusMoved, this, &ShortcutService::stopRecording);
    connect(&keys, &platform::KeyMonitor::desktopShortcutPressed, this,
            &ShortcutService::handleDesktopShortcut);
    connect(&keys, &platform::KeyMonitor::desktopShortcutReleased, this, &ShortcutService::handleKeyUp);
}

ShortcutService::~ShortcutService() {
    unregisterAll();
}

void ShortcutService::load() {
    m_config = ShortcutsConfig::defaults();
    if (const auto stored = m_defaults.data(QLatin1String(storeKey))) {
        try {
            m_config = ShortcutsConfig::fromJson(json::parse(*stored));
        } catch (const json::DecodingError&) {
            // The entry is left as it is until the table is saved.
        }
    }
}

void ShortcutService::setConfig(const ShortcutsConfig& config) {
    if (config != m_config) {
        m_config = config;
        parseKeys();
        offerToDesktop();
        Q_EMIT configChanged();
    }
}

void ShortcutService::saveConfig() {
    m_defaults.setData(QLatin1String(storeKey), json::serialize(m_config.toJson()));
}

void ShortcutService::updateBinding(ShortcutAction action, const std::optional<QString>& key,
                                    const std::optional<bool>& enabled) {
    auto config = m_config;
    const auto* existing = config.binding(action);
    auto binding = existing ? *existing : ShortcutBinding{.action = rawValue(action), .key = {}};
    binding.key = key.value_or(binding.key);
    binding.enabled = enabled.value_or(binding.enabled);
    config.bindings.insert(rawValue(action), binding);
    setConfig(config);
    saveConfig();
}

void ShortcutService::resetToDefaults() {
    setConfig(ShortcutsConfig::defaults());
    saveConfig();
}

void ShortcutService::parseKeys() {
    m_parsed.clear();
    for (auto entry = m_config.bindings.cbegin(); entry != m_config.bindings.cend(); ++entry) {
        if (const auto action = shortcutAction(entry.key()); action && entry->enabled) {
            m_parsed.push_back({KeyString::parse(entry->key), *action});
        }
    }
}

void ShortcutService::registerAll() {
    unregisterAll();
    m_globalMonitor = m_keys.addGlobalMonitor(KeyMask::down, [this](const KeyEvent& event) {
        if (!isRecording()) {
            handleKeyDown(event);
        }
    });
    m_globalKeyUpMonitor = m_keys.addGlobalMonitor(KeyMask::up, [this](const KeyEvent&) { handleKeyUp(); });
    m_localMonitor = m_keys.addLocalMonitor(
        KeyMask::down, [this](const KeyEvent& event) { return handleLocalKeyDown(event); });
    m_localKeyUpMonitor = m_keys.addLocalMonitor(KeyMask::up, [this](const KeyEvent&) {
        handleKeyUp();
        return false;
    });
    offerToDesktop();
}

void ShortcutService::unregisterAll() {
    m_globalMonitor.reset();
    m_globalKeyUpMonitor.reset();
    m_localMonitor.reset();
    m_localKeyUpMonitor.reset();
    m_moveTimers.clear();
    offerToDesktop();
}

void ShortcutService::offerToDesktop() {
    QList<platform::DesktopShortcut> shortcuts;
    if (m_globalMonitor) {
        for (const auto& [key, action] : m_parsed) {
            shortcuts.append(
                {rawValue(action), displayName(action), key.modifierFlags, key.keyCode, key.name});
        }
    }
    m_keys.setDesktopShortcuts(shortcuts);
}

KeyReach ShortcutService::reach(ShortcutAction action) const {
    const auto reach = m_keys.reach();
    return reach == KeyReach::desktop && desktopTrigger(action).isEmpty() ? KeyReach::ownWindows : reach;
}

QString ShortcutService::desktopTrigger(ShortcutAction action) const {
    return m_keys.desktopTriggers().value(rawValue(action));
}

QList<ShortcutAction> ShortcutService::takenByDesktop() const {
    const auto taken = m_keys.keysOfDesktop();
    QList<ShortcutAction> actions;
    for (const auto& [key, action] : m_parsed) {
        const auto isSame = [&key = key](const platform::DesktopKey& other) {
            return other.modifierFlags == key.modifierFlags && other.keyCode == key.keyCode &&
                   (key.keyCode != keycode::none || other.keyName == key.name);
        };
        if (std::ranges::any_of(taken, isSame)) {
            actions.append(action);
        }
    }
    return actions;
}

// By value: each change rebuilds the page's list.
void ShortcutService::useFreeKeys(QList<ShortcutAction> actions) {
    for (const auto action : std::as_const(actions)) {
        updateBinding(action, freeKey(action), std::nullopt);
    }
}

bool ShortcutService::handleLocalKeyDown(const KeyEvent& event) {
    if (isRecording()) {
        record(event);
        return true;
    }
    // The recorded key fires only when it is pressed again.
    if (m_isRecordedHeld && event.isARepeat) {
        return true;
    }
    m_isRecordedHeld = false;
    // A key typed into a field is text, and a button that has the focus is pressed by it.
    if ((event.isInTextField || event.isForControl) && !(event.modifierFlags & modifier::all)) {
        return false;
    }
    return handleKeyDown(event);
}

bool ShortcutService::handleKeyDown(const KeyEvent& event) {
    const auto lowered = event.charactersIgnoringModifiers.toLower();
    const auto found =
        std::ranges::find_if(m_parsed, [&](const Key& row) { return row.key.matchesEvent(event, lowered); });
    if (found == m_parsed.end()) {
        return false;
    }
    handleAction(found->action, event.isARepeat);
    return true;
}

void ShortcutService::handleAction(ShortcutAction action, bool isRepeat) {
    if (!isMove(action)) {
        if (!isRepeat) {
            m_delegate.shortcutTriggered(action);
        }
        return;
    }
    if (m_moveTimers.contains(action)) {
        return;
    }
    m_delegate.shortcutTriggered(action);
    m_moveTimers[action] = m_clock.repeat(movePace, [this, action] { m_delegate.shortcutTriggered(action); });
}

void ShortcutService::handleKeyUp() {
    m_isRecordedHeld = false;
    m_moveTimers.clear();
}

void ShortcutService::handleDesktopShortcut(const QString& id) {
    const auto action = shortcutAction(id);
    const auto* binding = action ? m_config.binding(*action) : nullptr;
    if (binding && binding->enabled && !isRecording()) {
        handleAction(*action, false);
    }
}

void ShortcutService::recordNextKey(Recorded done) {
    stopRecording();
    m_moveTimers.clear();
    m_recorded = std::move(done);
    Q_EMIT isRecordingChanged();
}

void ShortcutService::stopRecording() {
    finishRecording(std::nullopt);
}

void ShortcutService::record(const KeyEvent& event) {
    const bool isBare = !(event.modifierFlags & modifier::all);
    if (event.isARepeat) {
        return;
    }
    m_isRecordedHeld = true;
    if (isBare && event.keyCode == keycode::escape) {
        stopRecording();
    } else if (isBare && event.keyCode == keycode::backspace) {
        finishRecording(QString());
    } else if (const auto key = KeyString::of(event)) {
        finishRecording(key);
    }
}

void ShortcutService::finishRecording(const std::optional<QString>& key) {
    if (const auto done = std::exchange(m_recorded, nullptr)) {
        done(key);
        Q_EMIT isRecordingChanged();
    }
}

} // namespace corvane

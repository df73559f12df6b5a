#include "Views/Dashboard/ShortcutsPresenter.h"

#include "Services/ShortcutService.h"
#include "ViewModels/SettingsViewModel.h"

#include <QVariantMap>

#include <algorithm>
#include <array>
#include <utility>

namespace corvane {

using platform::KeyReach;

namespace {

struct CursorRow {
    CursorType type;
    const char* title;
};
constexpr std::array cursorRows{
    CursorRow{CursorType::default_, "Default"},
    CursorRow{CursorType::invisible, "Invisible"},
    CursorRow{CursorType::auto_, "Auto"},
};

// Returns the key of a binding for display, or an empty text when there is none. Stored text may contain
// anything, and a chip has only one line.
QString displayedKey(const ShortcutBinding* binding) {
    return binding ? shownKey(binding->key).simplified() : QString();
}

bool isSameKey(const KeyString& one, const KeyString& other) {
    return one.modifierFlags == other.modifierFlags && one.keyCode == other.keyCode &&
           (one.keyCode != platform::keycode::none || one.name == other.name);
}

QString joinedNames(const QList<ShortcutAction>& actions) {
    QStringList names;
    for (const auto action : actions) {
        names.append(displayName(action));
    }
    return names.join(QStringLiteral(" and "));
}

ShortcutAction actionAt(int row) {
    return allShortcutActions.at(static_cast<size_t>(row));
}

} // namespace

ShortcutsPresenter::ShortcutsPresenter(SettingsViewModel& settings, ShortcutService& shortcuts)
    : m_settings(settings)
    , m_shortcuts(shortcuts) {
    using Self = ShortcutsPresenter;
    connect(&settings, &SettingsViewModel::customizableChanged, this, &Self::cursorChanged);
    connect(&shortcuts, &ShortcutService::configChanged, this, [this] {
        setResetNote({});
        updateTakenByDesktop();
        Q_EMIT rowsChanged();
    });
    connect(&shortcuts, &ShortcutService::reachChanged, this, &Self::rowsChanged);
}

ShortcutsPresenter::~ShortcutsPresenter() {
    stopRecording();
}

QStringList ShortcutsPresenter::cursors() const {
    QStringList titles;
    for (const auto& row : cursorRows) {
        titles.append(QLatin1String(row.title));
    }
    return titles;
}

int ShortcutsPresenter::cursor() const {
    const auto* found =
        std::ranges::find(cursorRows, m_settings.customizable().cursor.type, &CursorRow::type);
    return static_cast<int>(found - cursorRows.begin());
}

void ShortcutsPresenter::pickCursor(int index) {
    m_settings.setCursorType(cursorRows.at(static_cast<size_t>(index)).type);
}

QVariantList ShortcutsPresenter::rows() const {
    QVariantList list;
    for (const auto action : allShortcutActions) {
        list.append(shortcutRow(action));
    }
    return list;
}

QVariant ShortcutsPresenter::shortcutRow(ShortcutAction action) const {
    const auto* binding = m_shortcuts.config().binding(action);
    const auto key = displayedKey(binding);
    const bool isRecording = m_recordingAction == action;
    QString warning;
    if (isRecording && !m_recordedKey.isEmpty()) {
        warning = QStringLiteral("%1 is used by %2. Press it again to take it, or Escape.")
                      .arg(shownKey(m_recordedKey), joinedNames(otherActionsWithKey(m_recordedKey, action)));
    }
    return QVariantMap{{QStringLiteral("name"), displayName(action)},
                       {QStringLiteral("description"), description(action)},
                       {QStringLiteral("key"), key.isEmpty() ? QStringLiteral("Not set") : key},
                       {QStringLiteral("isOn"), !binding || binding->enabled},
                       {QStringLiteral("isRecording"), isRecording},
                       {QStringLiteral("note"), warning.isEmpty() ? rowNote(action) : QString()},
                       {QStringLiteral("warning"), warning}};
}

QString ShortcutsPresenter::rowNote(ShortcutAction action) const {
    if (m_recordingAction == action) {
        return QStringLiteral("Press the new keys. Escape leaves them as they are, Backspace clears them.");
    }
    const auto* binding = m_shortcuts.config().binding(action);
    if (!binding || !binding->enabled || displayedKey(binding).isEmpty()) {
        return {};
    }
    if (const auto others = otherActionsWithKey(binding->key, action); !others.isEmpty()) {
        return QStringLiteral("%1 has the same keys, so only one of them works.").arg(joinedNames(others));
    }
    if (m_takenByDesktop.contains(action)) {
        return QStringLiteral("This desktop keeps these keys for itself.");
    }
    const auto trigger = m_shortcuts.desktopTrigger(action);
    switch (m_shortcuts.reach(action)) {
    case KeyReach::desktop:
        return QStringLiteral("In other programs: %1").arg(trigger);
    case KeyReach::ownWindows:
        return pageReach() == KeyReach::ownWindows
                   ? QString()
                   : QStringLiteral("In other programs: none. This desktop has assigned no keys.");
    case KeyReach::everywhere:
        break;
    }
    return {};
}

KeyReach ShortcutsPresenter::pageReach() const {
    for (const auto action : allShortcutActions) {
        if (const auto reach = m_shortcuts.reach(action); reach != KeyReach::ownWindows) {
            return reach;
        }
    }
    return KeyReach::ownWindows;
}

QString ShortcutsPresenter::reachNotice() const {
    switch (pageReach()) {
    case KeyReach::ownWindows:
        if (m_shortcuts.isRefusedByDesktop()) {
            return QStringLiteral(
                "This desktop does not allow Corvane Lumetra to use keys in other programs: "
                "shortcuts work while one of its windows has the keyboard. Allow it in the "
                "desktop's settings, and start Corvane Lumetra again.");
        }
        return QStringLiteral("This desktop shows key presses to the focused program only: shortcuts work "
                              "while a window of Corvane Lumetra has the keyboard.");
    case KeyReach::desktop:
        return QStringLiteral("This desktop watches the keys itself: for use in other programs, "
                              "keys are assigned in the desktop's settings.");
    case KeyReach::everywhere:
        break;
    }
    return {};
}

QString ShortcutsPresenter::takenNotice() const {
    QStringList keys;
    for (const auto action : m_takenByDesktop) {
        keys.append(displayedKey(m_shortcuts.config().binding(action)));
    }
    return keys.isEmpty() ? QString()
                          : QStringLiteral("This desktop keeps these keys for itself: %1. Free keys "
                                           "with Ctrl and Alt work everywhere.")
                                .arg(keys.join(QStringLiteral(", ")));
}

void ShortcutsPresenter::updateTakenByDesktop() {
    m_takenByDesktop = m_shortcuts.takenByDesktop();
}

void ShortcutsPresenter::appear() {
    updateTakenByDesktop();
    Q_EMIT rowsChanged();
}

void ShortcutsPresenter::useFreeKeys() {
    stopRecording();
    m_shortcuts.useFreeKeys(m_takenByDesktop);
}

void ShortcutsPresenter::toggle(int row) {
    const auto action = actionAt(row);
    const auto* binding = m_shortcuts.config().binding(action);
    m_shortcuts.updateBinding(action, std::nullopt, binding && !binding->enabled);
}

QList<ShortcutAction> ShortcutsPresenter::otherActionsWithKey(const QString& key,
                                                              ShortcutAction action) const {
    const auto wanted = KeyString::parse(key);
    QList<ShortcutAction> others;
    for (const auto other : allShortcutActions) {
        const auto* binding = m_shortcuts.config().binding(other);
        if (other != action && binding && binding->enabled &&
            isSameKey(KeyString::parse(binding->key), wanted)) {
            others.append(other);
        }
    }
    return others;
}

void ShortcutsPresenter::record(int row) {
    stopRecording();
    setResetNote({});
    m_recordingAction = actionAt(row);
    recordNextKey();
    Q_EMIT rowsChanged();
}

void ShortcutsPresenter::recordNextKey() {
    m_shortcuts.recordNextKey([this](const std::optional<QString>& key) { take(key); });
}

// `key` is nullopt when the recording was given up, and empty when the key is to be cleared.
void ShortcutsPresenter::take(const std::optional<QString>& key) {
    const bool isContested = key && !key->isEmpty() && *key != m_recordedKey &&
                             !otherActionsWithKey(*key, *m_recordingAction).isEmpty();
    if (isContested) {
        m_recordedKey = *key;
        recordNextKey();
        Q_EMIT rowsChanged();
        return;
    }
    const auto action = *std::exchange(m_recordingAction, std::nullopt);
    m_recordedKey.clear();
    if (key) {
        assign(*key, action);
    }
    Q_EMIT rowsChanged();
}

void ShortcutsPresenter::assign(const QString& key, ShortcutAction action) {
    if (!key.isEmpty()) {
        for (const auto other : otherActionsWithKey(key, action)) {
            m_shortcuts.updateBinding(other, QString(), std::nullopt);
        }
    }
    m_shortcuts.updateBinding(action, key, std::nullopt);
}

void ShortcutsPresenter::takeKey() {
    const auto action = m_recordingAction;
    const auto key = m_recordedKey;
    stopRecording();
    if (action && !key.isEmpty()) {
        assign(key, *action);
    }
}

void ShortcutsPresenter::stopRecording() {
    if (m_recordingAction) {
        m_shortcuts.stopRecording();
    }
}

void ShortcutsPresenter::leave() {
    stopRecording();
    setResetNote({});
}

void ShortcutsPresenter::resetToDefaults() {
    stopRecording();
    m_shortcuts.resetToDefaults();
    setResetNote(QStringLiteral("All shortcuts have been reset to their defaults."));
    Q_EMIT wasReset();
}

void ShortcutsPresenter::setResetNote(const QString& note) {
    if (std::exchange(m_resetNote, note) != note) {
        Q_EMIT resetNoteChanged();
    }
}

} // namespace corvane

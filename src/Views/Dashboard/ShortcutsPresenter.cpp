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

// Empty when there is none. Stored text may hold anything; a chip has one line.
QString shownKeyOf(const ShortcutBinding* binding) {
    return binding ? shownKey(binding->key).simplified() : QString();
}

bool firesAlike(const KeyString& one, const KeyString& other) {
    return one.modifierFlags == other.modifierFlags && one.keyCode == other.keyCode &&
           (one.keyCode != platform::keycode::none || one.name == other.name);
}

QString namesOf(const QList<ShortcutAction>& actions) {
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
        lookForTaken();
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
        list.append(rowOf(action));
    }
    return list;
}

QVariant ShortcutsPresenter::rowOf(ShortcutAction action) const {
    const auto* binding = m_shortcuts.config().binding(action);
    const auto key = shownKeyOf(binding);
    const bool isRecording = m_recordingAction == action;
    QString warning;
    if (isRecording && !m_recordedKey.isEmpty()) {
        warning = QStringLiteral("%1 is used by %2. Press it again to take it, or Escape.")
                      .arg(shownKey(m_recordedKey), namesOf(othersWith(m_recordedKey, action)));
    }
    return QVariantMap{{QStringLiteral("name"), displayName(action)},
                       {QStringLiteral("description"), description(action)},
                       {QStringLiteral("key"), key.isEmpty() ? QStringLiteral("Not set") : key},
                       {QStringLiteral("isOn"), !binding || binding->enabled},
                       {QStringLiteral("isRecording"), isRecording},
                       {QStringLiteral("note"), warning.isEmpty() ? noteOf(action) : QString()},
                       {QStringLiteral("warning"), warning}};
}

QString ShortcutsPresenter::noteOf(ShortcutAction action) const {
    if (m_recordingAction == action) {
        return QStringLiteral("Press the new keys. Escape leaves them as they are, Backspace clears them.");
    }
    const auto* binding = m_shortcuts.config().binding(action);
    if (!binding || !binding->enabled || shownKeyOf(binding).isEmpty()) {
        return {};
    }
    if (const auto others = othersWith(binding->key, action); !others.isEmpty()) {
        return QStringLiteral("%1 has the same keys: only one of them acts.").arg(namesOf(others));
    }
    if (m_taken.contains(action)) {
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
    for (const auto action : m_taken) {
        keys.append(shownKeyOf(m_shortcuts.config().binding(action)));
    }
    return keys.isEmpty() ? QString()
                          : QStringLiteral("This desktop keeps these keys for itself: %1. Free ones act "
                                           "everywhere, with Ctrl and Alt besides.")
                                .arg(keys.join(QStringLiteral(", ")));
}

void ShortcutsPresenter::lookForTaken() {
    m_taken = m_shortcuts.takenByDesktop();
}

void ShortcutsPresenter::appear() {
    lookForTaken();
    Q_EMIT rowsChanged();
}

void ShortcutsPresenter::useFreeKeys() {
    stopRecording();
    m_shortcuts.useFreeKeys(m_taken);
}

void ShortcutsPresenter::toggle(int row) {
    const auto action = actionAt(row);
    const auto* binding = m_shortcuts.config().binding(action);
    m_shortcuts.updateBinding(action, std::nullopt, binding && !binding->enabled);
}

QList<ShortcutAction> ShortcutsPresenter::othersWith(const QString& key, ShortcutAction action) const {
    const auto wanted = KeyString::parse(key);
    QList<ShortcutAction> others;
    for (const auto other : allShortcutActions) {
        const auto* binding = m_shortcuts.config().binding(other);
        if (other != action && binding && binding->enabled &&
            firesAlike(KeyString::parse(binding->key), wanted)) {
            others.append(other);
        }
    }
    return others;
}

void ShortcutsPresenter::record(int row) {
    stopRecording();
    setResetNote({});
    m_recordingAction = actionAt(row);
    listen();
    Q_EMIT rowsChanged();
}

void ShortcutsPresenter::listen() {
    m_shortcuts.recordNextKey([this](const std::optional<QString>& key) { take(key); });
}

// Nothing: given up. Empty: cleared.
void ShortcutsPresenter::take(const std::optional<QString>& key) {
    const bool isContested =
        key && !key->isEmpty() && *key != m_recordedKey && !othersWith(*key, *m_recordingAction).isEmpty();
    if (isContested) {
        m_recordedKey = *key;
        listen();
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
        for (const auto other : othersWith(key, action)) {
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
    setResetNote(QStringLiteral("All shortcuts are back at their defaults."));
    Q_EMIT wasReset();
}

void ShortcutsPresenter::setResetNote(const QString& note) {
    if (std::exchange(m_resetNote, note) != note) {
        Q_EMIT resetNoteChanged();
    }
}

} // namespace corvane

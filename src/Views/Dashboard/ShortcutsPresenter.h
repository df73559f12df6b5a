#pragma once

#include "Models/ShortcutModels.h"
#include "Platform/Input/KeyMonitor.h"

#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <qqmlregistration.h>

#include <optional>

namespace corvane {

class SettingsViewModel;
class ShortcutService;

// The shortcuts page: shows the key of each action and records new ones. Main thread.
class ShortcutsPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the dashboard")
    Q_PROPERTY(QStringList cursors READ cursors CONSTANT)
    Q_PROPERTY(int cursor READ cursor NOTIFY cursorChanged)
    Q_PROPERTY(int rowCount READ rowCount CONSTANT)
    // A map {name, description, key, isOn, isRecording, note, warning} for each action; the last two may be
    // empty.
    Q_PROPERTY(QVariantList rows READ rows NOTIFY rowsChanged)
    Q_PROPERTY(QString reachNotice READ reachNotice NOTIFY rowsChanged)
    // The shortcuts whose keys the desktop uses itself; empty when there are none.
    Q_PROPERTY(QString takenNotice READ takenNotice NOTIFY rowsChanged)
    Q_PROPERTY(QString resetNote READ resetNote NOTIFY resetNoteChanged)

public:
    ShortcutsPresenter(SettingsViewModel& settings, ShortcutService& shortcuts);
    ~ShortcutsPresenter() override;

    QStringList cursors() const;
    int cursor() const; // an index into cursors()
    Q_INVOKABLE void pickCursor(int index);

    int rowCount() const { return static_cast<int>(allShortcutActions.size()); }
    QVariantList rows() const;
    // Returns where shortcuts do not work and why, or an empty text when they work everywhere.
    QString reachNotice() const;

    QString takenNotice() const;
    // Called when the page becomes visible, as the settings of the desktop may have changed.
    Q_INVOKABLE void appear();
    // Gives free keys to the shortcuts that takenNotice names.
    Q_INVOKABLE void useFreeKeys();

    Q_INVOKABLE void toggle(int row);
    // Records the next key that is pressed as that of the row. A key that another action uses has to be
    // pressed a second time, or confirmed by takeKey().
    Q_INVOKABLE void record(int row);
    Q_INVOKABLE void stopRecording();
    // Takes the key from the action that the warning names.
    Q_INVOKABLE void takeKey();

    // Called when the page is no longer visible.
    Q_INVOKABLE void leave();

    Q_INVOKABLE void resetToDefaults();
    // Returns a confirmation of the reset, until something else changes.
    QString resetNote() const { return m_resetNote; }

Q_SIGNALS:
    void cursorChanged();
    void rowsChanged();
    void resetNoteChanged();
    // Emitted by every reset, also by one that changes nothing.
    void wasReset();

private:
    QVariant shortcutRow(ShortcutAction action) const;
    QString rowNote(ShortcutAction action) const;
    // Returns the enabled actions, other than `action`, that the key would trigger.
    QList<ShortcutAction> otherActionsWithKey(const QString& key, ShortcutAction action) const;
    platform::KeyReach pageReach() const;
    void recordNextKey();
    void take(const std::optional<QString>& key);
    void assign(const QString& key, ShortcutAction action);
    void updateTakenByDesktop();
    void setResetNote(const QString& note);

    SettingsViewModel& m_settings;
    ShortcutService& m_shortcuts;
    std::optional<ShortcutAction> m_recordingAction;
    QString m_recordedKey; // pressed for m_recordingAction, but used by another action
    QString m_resetNote;
    QList<ShortcutAction> m_takenByDesktop; // actions whose keys the desktop uses itself
};

} // namespace corvane

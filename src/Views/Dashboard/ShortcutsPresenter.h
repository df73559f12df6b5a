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

// The page of the keys: which key each action has, and the recording of another one. Main thread.
class ShortcutsPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the dashboard")
    Q_PROPERTY(QStringList cursors READ cursors CONSTANT)
    Q_PROPERTY(int cursor READ cursor NOTIFY cursorChanged)
    Q_PROPERTY(int rowCount READ rowCount CONSTANT)
    // {name, description, key, isOn, isRecording, note, warning} of each action; the last two may be empty.
    Q_PROPERTY(QVariantList rows READ rows NOTIFY rowsChanged)
    Q_PROPERTY(QString reachNotice READ reachNotice NOTIFY rowsChanged)
    // The shortcuts whose keys the desktop keeps for itself; empty when there are none.
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
    // Where shortcuts do not work, and why; empty when they work everywhere.
    QString reachNotice() const;

    QString takenNotice() const;
    // The page has come into view: the desktop's settings may have changed.
    Q_INVOKABLE void appear();
    // For the shortcuts of the notice.
    Q_INVOKABLE void useFreeKeys();

    Q_INVOKABLE void toggle(int row);
    // The next key that is pressed becomes the row's. One that another action uses has to be pressed again,
    // or taken by takeKey().
    Q_INVOKABLE void record(int row);
    Q_INVOKABLE void stopRecording();
    // From the action that the warning names.
    Q_INVOKABLE void takeKey();

    // The page has gone out of view.
    Q_INVOKABLE void leave();

    Q_INVOKABLE void resetToDefaults();
    // That it was done, until something else is; empty before.
    QString resetNote() const { return m_resetNote; }

Q_SIGNALS:
    void cursorChanged();
    void rowsChanged();
    void resetNoteChanged();
    // Also when nothing was left to reset.
    void wasReset();

private:
    QVariant rowOf(ShortcutAction action) const;
    QString noteOf(ShortcutAction action) const;
    // The enabled actions that the key would fire beside `action`.
    QList<ShortcutAction> othersWith(const QString& key, ShortcutAction action) const;
    platform::KeyReach pageReach() const;
    void listen();
    void take(const std::optional<QString>& key);
    void assign(const QString& key, ShortcutAction action);
    void lookForTaken();
    void setResetNote(const QString& note);

    SettingsViewModel& m_settings;
    ShortcutService& m_shortcuts;
    std::optional<ShortcutAction> m_recordingAction;
    QString m_recordedKey; // pressed for m_recordingAction, and in use
    QString m_resetNote;
    QList<ShortcutAction> m_taken; // by the desktop
};

} // namespace corvane

#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace platform {
class SPUStandardUserDriver;
}

namespace corvane {

// The window of an update: the update that was found with its notes, the download, the installation, or what
// went wrong.
class UpdateDialogPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the update's window")
    Q_PROPERTY(bool shown READ isShown NOTIFY stageChanged)
    Q_PROPERTY(QString title READ title NOTIFY stageChanged)
    Q_PROPERTY(QString text READ text NOTIFY stageChanged)
    Q_PROPERTY(QString notes READ notes NOTIFY stageChanged)
    Q_PROPERTY(bool downloading READ isDownloading NOTIFY stageChanged)
    Q_PROPERTY(bool busy READ isBusy NOTIFY stageChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString progressText READ progressText NOTIFY progressChanged)
    Q_PROPERTY(QString dismissText READ dismissText NOTIFY stageChanged)
    Q_PROPERTY(QString chooseText READ chooseText NOTIFY stageChanged)

public:
    // `programName` and `installedVersion` are shown to the user.
    UpdateDialogPresenter(platform::SPUStandardUserDriver& driver, QString programName,
                          QString installedVersion);

    bool isShown() const;
    // Returns whether the user has not asked for the window, so that it must not take the keyboard.
    bool isAutomatic() const;
    QString title() const;
    QString text() const;
    // Returns the notes of the version that was found, as plain text or inline markdown, or an empty text.
    QString notes() const;
    bool isDownloading() const;
    bool isBusy() const;     // true while something of unknown duration is going on
    double progress() const; // from 0 to 1
    QString progressText() const;
    // These return an empty text when there is no such button.
    QString dismissText() const;
    QString chooseText() const;

    Q_INVOKABLE void dismiss();
    Q_INVOKABLE void choose();

Q_SIGNALS:
    void stageChanged();
    void progressChanged();
    void broughtForward();

private:
    QString filledIn(const char* text) const;

    platform::SPUStandardUserDriver& m_driver;
    const QString m_programName;
    const QString m_installedVersion;
};

} // namespace corvane

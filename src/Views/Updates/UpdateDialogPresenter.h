#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace platform {
class SPUStandardUserDriver;
}

namespace corvane {

// The window of one update: found, its notes, the download, the installation, or what went wrong.
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
    // `programName`, `installedVersion`: as the user knows them.
    UpdateDialogPresenter(platform::SPUStandardUserDriver& driver, QString programName,
                          QString installedVersion);

    bool isShown() const;
    // It must not take the keyboard.
    bool isAutomatic() const;
    QString title() const;
    QString text() const;
    // Of the version that was found; plain text or inline markdown. Empty without any.
    QString notes() const;
    bool isDownloading() const;
    bool isBusy() const;     // without a known end
    double progress() const; // from 0 to 1
    QString progressText() const;
    // Empty: nothing to dismiss, or to choose.
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

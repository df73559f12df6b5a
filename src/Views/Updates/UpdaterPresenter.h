#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class UpdaterService;

// The card that says how the program stands with its updates, and offers the next step.
class UpdaterPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the settings page")
    Q_PROPERTY(QString symbol READ symbol NOTIFY changed)
    Q_PROPERTY(QString symbolColor READ symbolColor NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString titleColor READ titleColor NOTIFY changed)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY changed)
    Q_PROPERTY(QString stateColor READ stateColor NOTIFY changed)
    Q_PROPERTY(QString buttonText READ buttonText NOTIFY changed)
    Q_PROPERTY(QString buttonSymbol READ buttonSymbol NOTIFY changed)
    Q_PROPERTY(bool buttonProminent READ isButtonProminent NOTIFY changed)

public:
    explicit UpdaterPresenter(UpdaterService& service);

    QString symbol() const; // empty: a spinner
    QString title() const;
    QString subtitle() const;
    // Roles of the theme.
    QString symbolColor() const;
    QString titleColor() const;
    QString stateColor() const;
    QString buttonText() const; // empty: no button
    QString buttonSymbol() const;
    bool isButtonProminent() const;

    // What every button of the card does.
    Q_INVOKABLE void checkForUpdates();

Q_SIGNALS:
    void changed();

private:
    UpdaterService& m_service;
};

} // namespace corvane

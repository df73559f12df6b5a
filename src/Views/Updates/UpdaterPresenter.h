#pragma once

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class UpdaterService;

// The card on the settings page that shows the state of updates and offers the next step.
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

    QString symbol() const; // empty when a spinner is shown instead
    QString title() const;
    QString subtitle() const;
    // These return the names of colours of Theme.
    QString symbolColor() const;
    QString titleColor() const;
    QString stateColor() const;
    QString buttonText() const; // empty when there is no button
    QString buttonSymbol() const;
    bool isButtonProminent() const;

    // The action of every button of the card.
    Q_INVOKABLE void checkForUpdates();

Q_SIGNALS:
    void changed();

private:
    UpdaterService& m_service;
};

} // namespace corvane

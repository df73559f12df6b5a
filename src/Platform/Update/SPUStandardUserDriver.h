#pragma once

#include "Platform/Update/Appcast.h"

#include <QObject>

namespace platform {

// The dialogue with the user about one update: what its window shows, and what the user answers. The updater
// decides what is shown, and a window follows it. Main thread.
class SPUStandardUserDriver : public QObject {
    Q_OBJECT

public:
    enum class Stage {
        hidden,
        checking,
        found,
        upToDate,
        downloading,
        ready,
        verifying,
        installing,
        installed,
        failed
    };
    struct ViewState {
        Stage stage = Stage::hidden;
        AppcastItem item = {};  // from stage found on
        QString text = {};      // the error, or in stage installed the reason why a restart was refused
        bool automatic = false; // not requested by the user, so the window must not take the keyboard
    };

    Stage stage() const { return m_viewState.stage; }
    const AppcastItem& item() const { return m_viewState.item; }
    const QString& text() const { return m_viewState.text; }
    bool isAutomatic() const { return m_viewState.automatic; }
    // Returns the progress of the download, from 0 to 1.
    double progress() const { return m_progress; }

    // Called by the updater.
    void show(ViewState viewState);
    void showProgress(double share);
    void bringForward() { Q_EMIT broughtForward(); }

    // Called by the window. `choose` accepts what the stage offers: to download, to install or to restart.
    // `dismiss` means that the window was closed or the offer put off.
    void choose() { Q_EMIT chosen(); }
    void dismiss() { Q_EMIT dismissed(); }

Q_SIGNALS:
    void stageChanged();
    void progressChanged();
    void broughtForward();
    void chosen();
    void dismissed();

private:
    ViewState m_viewState;
    double m_progress = 0;
};

} // namespace platform

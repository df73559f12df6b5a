#pragma once

#include "Platform/Update/Appcast.h"

#include <QObject>

namespace platform {

// The talk with the user about one update: what its window shows, and what the user answers. The updater
// decides what is shown; a window follows it. Main thread.
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
        AppcastItem item = {};  // of found and what follows it
        QString text = {};      // of failed: what went wrong; of installed: why there was no restart
        bool automatic = false; // the window must not take the keyboard from what the user does
    };

    Stage stage() const { return m_viewState.stage; }
    const AppcastItem& item() const { return m_viewState.item; }
    const QString& text() const { return m_viewState.text; }
    bool isAutomatic() const { return m_viewState.automatic; }
    // Of downloading, from 0 to 1.
    double progress() const { return m_progress; }

    // The updater's side.
    void show(ViewState viewState);
    void showProgress(double share);
    void bringForward() { Q_EMIT broughtForward(); }

    // The user's side. `choose` means what the stage offers: to download, to install, to restart. `dismiss`:
    // the window was closed, or the user wants nothing of it now.
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

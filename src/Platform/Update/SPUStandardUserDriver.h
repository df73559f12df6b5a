#pragma once

#include "Platform/Update/Appcast.h"

#include <QObject>

namespace platform {

// The talk with the user about one update: what its window shows, and what the user answers. The updater
// leads it; a window follows it. Main thread.
class SPUStandardUserDriver : public QObject {
    Q_OBJECT

public:
    enum class Stage { hidden, checking, found, upToDate, downloading, ready, handedOver, failed };

    Stage stage() const { return m_stage; }
    // Of found and what follows it.
    const AppcastItem& item() const { return m_item; }
    // Of found: nobody asked, so it must not take the keyboard from what the user does.
    bool isUnasked() const { return m_unasked; }
    // Of downloading, from 0 to 1.
    double progress() const { return m_progress; }
    // Of handedOver: the package's path. Of failed: what went wrong.
    const QString& text() const { return m_text; }

    // The updater's side.
    void show(Stage stage, const QString& text = {});
    void showFound(const AppcastItem& item, bool unasked);
    void showProgress(double share);
    void bringForward() { Q_EMIT broughtForward(); }

    // The user's side. `choose` means what the stage offers: to download, to install, to restart.
    void choose() { Q_EMIT chosen(m_stage); }
    // The window was closed, or the user wants nothing of it now.
    void dismiss();

Q_SIGNALS:
    void stageChanged();
    void progressChanged();
    void broughtForward();
    void chosen(Stage stage);
    void dismissed(Stage stage);

private:
    Stage m_stage = Stage::hidden;
    AppcastItem m_item;
    bool m_unasked = false;
    double m_progress = 0;
    QString m_text;
};

} // namespace platform

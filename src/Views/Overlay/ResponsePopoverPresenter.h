#pragma once

#include "Views/Overlay/AssistantCardsModel.h"
#include "Views/Shared/CardText.h"

#include <QObject>
#include <QTimer>
#include <qqmlregistration.h>

namespace platform {
class SystemAccess;
}

namespace corvane {

class CompletionViewModel;
class InterviewViewModel;
class SettingsViewModel;
class SilenceWatch;
class StreamedText;

// What the card under the bar shows: banners, the plan or the question to ask next, and the running
// assessment. Takes up changes at most once a frame. Main thread.
class ResponsePopoverPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(double materialStrength READ materialStrength NOTIFY materialStrengthChanged)
    Q_PROPERTY(bool microphoneFallback READ microphoneFallback NOTIFY changed)
    Q_PROPERTY(QString audioWarning READ audioWarning NOTIFY changed)
    Q_PROPERTY(QString silenceNotice READ silenceNotice NOTIFY silenceNoticeChanged)
    // What has gone wrong with the interview and needs no answer; an empty title for nothing.
    Q_PROPERTY(QString noticeSymbol READ noticeSymbol NOTIFY changed)
    Q_PROPERTY(QString noticeTitle READ noticeTitle NOTIFY changed)
    Q_PROPERTY(QString noticeText READ noticeText NOTIFY changed)
    Q_PROPERTY(bool canGiveUp READ canGiveUp NOTIFY changed)
    Q_PROPERTY(bool manualSendVisible READ manualSendVisible NOTIFY changed)
    Q_PROPERTY(QString infoSection READ infoSection NOTIFY changed)
    Q_PROPERTY(QString chip READ chip NOTIFY changed)
    Q_PROPERTY(QString position READ position NOTIFY changed)
    Q_PROPERTY(QString headline READ headline NOTIFY changed)
    Q_PROPERTY(QString justification READ justification NOTIFY changed)
    Q_PROPERTY(bool navigable READ navigable NOTIFY changed)
    Q_PROPERTY(bool canGoBack READ canGoBack NOTIFY changed)
    Q_PROPERTY(bool canGoForward READ canGoForward NOTIFY changed)
    Q_PROPERTY(bool hasError READ hasError NOTIFY changed)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed)
    Q_PROPERTY(QString content READ content NOTIFY changed)
    Q_PROPERTY(QString planQuestions READ planQuestions NOTIFY changed)
    Q_PROPERTY(QString workingText READ workingText NOTIFY changed)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY changed)
    Q_PROPERTY(QString emptyLine READ emptyLine NOTIFY changed)
    Q_PROPERTY(double assessmentOpacity READ assessmentOpacity NOTIFY changed)
    Q_PROPERTY(bool updating READ updating NOTIFY changed)
    Q_PROPERTY(corvane::AssistantCardsModel* cards READ cards CONSTANT)

public:
    ResponsePopoverPresenter(CompletionViewModel& completion, InterviewViewModel& interview,
                             SettingsViewModel& settings, platform::SystemAccess& systemAccess);

    // Shows what the watch finds, from now on.
    void follow(const SilenceWatch& watch);

    // There is a reply or an assessment to show.
    bool hasAssistantContent() const { return m_face.hasAssistantContent; }
    // Nothing to show yet, and something is on its way.
    bool isAssistantWorking() const { return m_face.isAssistantWorking; }

    double materialStrength() const; // 0..1
    bool microphoneFallback() const { return m_face.microphoneFallback; }
    QString audioWarning() const { return m_face.audioWarning; } // empty for none
    // Why the candidate is not heard; empty while there is nothing to say.
    const QString& silenceNotice() const { return m_silenceNotice; }
    QString noticeSymbol() const { return QLatin1String(m_face.notice.symbol); }
    QString noticeTitle() const { return QLatin1String(m_face.notice.title); }
    QString noticeText() const { return QLatin1String(m_face.notice.text); }
    // The start of the interview has failed, and nothing else ends it.
    bool canGiveUp() const { return m_face.canGiveUp; }
    bool manualSendVisible() const { return m_face.manualSendVisible; }
    // "questions", "plan", "gathering", or empty for nothing.
    QString infoSection() const { return m_face.info.section; }
    QString chip() const { return m_face.info.chip; }
    QString position() const { return m_face.info.position; }
    QString headline() const { return m_face.info.headline; } // of a question, with inline markdown
    QString justification() const { return m_face.info.justification; }
    bool navigable() const { return m_face.info.navigable; }
    bool canGoBack() const { return m_face.info.canGoBack; }
    bool canGoForward() const { return m_face.info.canGoForward; }
    bool hasError() const { return m_face.hasError; }
    QString errorText() const { return m_face.errorText; }
    // "planQuestions", "working", "empty" or "assistant".
    QString content() const { return m_face.content; }
    QString planQuestions() const { return m_face.planQuestions; } // empty: the topic has none
    QString workingText() const { return m_face.workingText; }
    QString emptyTitle() const { return m_face.emptyTitle; }
    QString emptyLine() const { return m_face.emptyLine; }
    double assessmentOpacity() const { return m_face.assessmentOpacity; }
    bool updating() const { return m_face.updating; }
    AssistantCardsModel* cards() { return &m_cards; }

    Q_INVOKABLE void retryAudio();
    Q_INVOKABLE void openCaptureSettings();
    Q_INVOKABLE void giveUp();
    // To the topic or the question before or after the one on show.
    Q_INVOKABLE void goBack();
    Q_INVOKABLE void goForward();
    Q_INVOKABLE void sendManualStop();
    // Opens addresses of the web and of mail, and nothing else: the text comes from outside.
    Q_INVOKABLE void openLink(const QString& address);

Q_SIGNALS:
    void changed();
    void silenceNoticeChanged();
    void materialStrengthChanged();
    // The text has changed, and the user wants to follow it.
    void scrollToBottomRequested();

private:
    struct Info {
        QString section;
        QString chip;
        QString position;
        QString headline;
        QString justification;
        bool navigable = false;
        bool canGoBack = false;
        bool canGoForward = false;
        bool operator==(const Info&) const = default;
    };
    struct Notice {
        const char* symbol = "";
        const char* title = "";
        const char* text = "";
        bool operator==(const Notice&) const = default; // of literals
    };
    struct Face {
        bool hasAssistantContent = false;
        bool isAssistantWorking = false;
        bool microphoneFallback = false;
        QString audioWarning;
        Notice notice;
        bool canGiveUp = false;
        bool manualSendVisible = false;
        Info info;
        bool hasError = false;
        QString errorText;
        QString content;
        QString planQuestions;
        QString workingText;
        QString emptyTitle;
        QString emptyLine;
        bool noteVisible = false;
        double assessmentOpacity = 1;
        bool updating = false;
        bool operator==(const Face&) const = default;
    };

    void subscribe();
    void schedule();
    void refresh();
    void takeText(const StreamedText& text, void (AssistantCardsModel::*append)(QStringView),
                  void (AssistantCardsModel::*clear)());
    bool showsTranscript() const;
    bool isStarting() const;
    Face face() const;
    Notice notice() const;
    Info info() const;
    Info planInfo() const;
    Info questionInfo() const;
    QString planQuestionsText() const;

    CompletionViewModel& m_completion;
    InterviewViewModel& m_interview;
    SettingsViewModel& m_settings;
    platform::SystemAccess& m_systemAccess;

    QString m_silenceNotice;
    QTimer m_frame;
    bool m_faceOutdated = false;
    bool m_textOutdated = false;
    AssistantCardsModel m_cards;
    Face m_face;
};

} // namespace corvane

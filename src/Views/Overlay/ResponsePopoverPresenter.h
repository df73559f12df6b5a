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

// The card under the bar: banners, the plan or the question to ask next, and the assessment as it is written.
// It updates at most once a frame. Main thread.
class ResponsePopoverPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(double materialStrength READ materialStrength NOTIFY materialStrengthChanged)
    Q_PROPERTY(bool microphoneFallback READ microphoneFallback NOTIFY changed)
    Q_PROPERTY(QString audioWarning READ audioWarning NOTIFY changed)
    Q_PROPERTY(QString silenceNotice READ silenceNotice NOTIFY silenceNoticeChanged)
    // A problem of the interview that needs no answer; the title is empty when there is none.
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

    // Shows from now on what the watch finds.
    void follow(const SilenceWatch& watch);

    // Returns whether there is a reply or an assessment to show.
    bool hasAssistantContent() const { return m_viewState.hasAssistantContent; }
    // Returns whether there is nothing to show yet but something is expected.
    bool isAssistantWorking() const { return m_viewState.isAssistantWorking; }

    double materialStrength() const; // 0..1
    bool microphoneFallback() const { return m_viewState.microphoneFallback; }
    QString audioWarning() const { return m_viewState.audioWarning; } // empty when there is none
    // Returns why the candidate is not heard, or an empty text.
    const QString& silenceNotice() const { return m_silenceNotice; }
    QString noticeSymbol() const { return QLatin1String(m_viewState.notice.symbol); }
    QString noticeTitle() const { return QLatin1String(m_viewState.notice.title); }
    QString noticeText() const { return QLatin1String(m_viewState.notice.text); }
    // Returns whether the start of the interview has failed and the user has to give it up.
    bool canGiveUp() const { return m_viewState.canGiveUp; }
    bool manualSendVisible() const { return m_viewState.manualSendVisible; }
    // Returns "questions", "plan", "gathering", or an empty text.
    QString infoSection() const { return m_viewState.info.section; }
    QString chip() const { return m_viewState.info.chip; }
    QString position() const { return m_viewState.info.position; }
    QString headline() const { return m_viewState.info.headline; } // of a question, with inline markdown
    QString justification() const { return m_viewState.info.justification; }
    bool navigable() const { return m_viewState.info.navigable; }
    bool canGoBack() const { return m_viewState.info.canGoBack; }
    bool canGoForward() const { return m_viewState.info.canGoForward; }
    bool hasError() const { return m_viewState.hasError; }
    QString errorText() const { return m_viewState.errorText; }
    // Returns "planQuestions", "working", "empty" or "assistant".
    QString content() const { return m_viewState.content; }
    QString planQuestions() const { return m_viewState.planQuestions; } // empty when the topic has none
    QString workingText() const { return m_viewState.workingText; }
    QString emptyTitle() const { return m_viewState.emptyTitle; }
    QString emptyLine() const { return m_viewState.emptyLine; }
    double assessmentOpacity() const { return m_viewState.assessmentOpacity; }
    bool updating() const { return m_viewState.updating; }
    AssistantCardsModel* cards() { return &m_cards; }

    Q_INVOKABLE void retryAudio();
    Q_INVOKABLE void openCaptureSettings();
    Q_INVOKABLE void giveUp();
    // Move to the topic or question before or after the one that is shown.
    Q_INVOKABLE void goBack();
    Q_INVOKABLE void goForward();
    Q_INVOKABLE void sendManualStop();
    // Opens web and mail addresses only, because the text comes from outside.
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
        bool operator==(const Notice&) const = default; // the literals are compared by address
    };
    struct ViewState {
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
        bool operator==(const ViewState&) const = default;
    };

    void subscribe();
    void schedule();
    void refresh();
    void followText(const StreamedText& text, void (AssistantCardsModel::*append)(QStringView),
                    void (AssistantCardsModel::*clear)());
    bool showsTranscript() const;
    bool isStarting() const;
    ViewState viewState() const;
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
    bool m_viewStateOutdated = false;
    bool m_textOutdated = false;
    AssistantCardsModel m_cards;
    ViewState m_viewState;
};

} // namespace corvane

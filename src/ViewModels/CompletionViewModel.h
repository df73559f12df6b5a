#pragma once

#include "Models/ChatModels.h"
#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Storage/DefaultsStore.h"
#include "ViewModels/StreamedText.h"

#include <QCoroTask>
#include <QObject>
#include <QProperty>

#include <optional>

namespace corvane {

class CorvaneAPIService;
class CustomProviderService;
class DatabaseService;
class WebSocketService;

// Everything that the backend streams as prose (the reply, the assessment of the candidate and a status
// line), and the storing of the chat. The reply can come from the user's own provider instead. Main thread.
class CompletionViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString input READ input WRITE setInput NOTIFY inputChanged)
    Q_PROPERTY(QString response READ response NOTIFY responseChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)
    Q_PROPERTY(bool isResponsePopoverOpen READ isResponsePopoverOpen WRITE setIsResponsePopoverOpen NOTIFY
                   isResponsePopoverOpenChanged)
    Q_PROPERTY(
        bool isRecordingAudio READ isRecordingAudio WRITE setIsRecordingAudio NOTIFY isRecordingAudioChanged)
    Q_PROPERTY(QString assessmentText READ assessmentText NOTIFY assessmentTextChanged)
    Q_PROPERTY(QString processingStatusText READ processingStatusLine NOTIFY processingStatusTextChanged)
    Q_PROPERTY(bool isAssessmentStreaming READ isAssessmentStreaming NOTIFY isAssessmentStreamingChanged)
    Q_PROPERTY(bool assessmentIsStale READ assessmentIsStale NOTIFY assessmentIsStaleChanged)

public:
    CompletionViewModel(WebSocketService& webSocket, CorvaneAPIService& api, DatabaseService& database,
                        CustomProviderService& provider, platform::DefaultsStore& defaults,
                        const platform::Clock& clock);

    QString input() const { return m_input; }
    void setInput(const QString& input) { m_input = input; }
    QString response() const { return m_response.text(); }
    const StreamedText& streamedResponse() const { return m_response; }
    bool isLoading() const { return m_isLoading; }
    const std::optional<QString>& error() const { return m_error; }
    QString errorText() const { return m_error.value_or(QString()); }
    const QList<AttachedFile>& attachedFiles() const { return m_attachedFiles; }
    void setAttachedFiles(QList<AttachedFile> files);
    const std::optional<QString>& currentConversationId() const { return m_currentConversationId; }
    bool isResponsePopoverOpen() const { return m_isResponsePopoverOpen; }
    void setIsResponsePopoverOpen(bool open) { m_isResponsePopoverOpen = open; }
    bool isRecordingAudio() const { return m_isRecordingAudio; }
    void setIsRecordingAudio(bool recording) { m_isRecordingAudio = recording; }
    QString assessmentText() const { return m_assessmentText.text(); }
    const StreamedText& streamedAssessment() const { return m_assessmentText; }
    const std::optional<QString>& processingStatusText() const { return m_processingStatusText; }
    QString processingStatusLine() const { return m_processingStatusText.value_or(QString()); }
    bool isAssessmentStreaming() const { return m_isAssessmentStreaming; }
    bool assessmentIsStale() const { return m_assessmentIsStale; }

    // Stores the message and sends it. Does nothing when it is blank and has no file.
    void submit();
    void startNewConversation();
    // Stores files with the conversation. It sends nothing and leaves what is shown as it is.
    void keep(const QList<AttachedFile>& files);
    // Clears what an ended interview has left on screen. The conversation goes on.
    void clearAfterInterview();

Q_SIGNALS:
    void inputChanged();
    void responseChanged();
    void isLoadingChanged();
    void errorChanged();
    void attachedFilesChanged();
    void currentConversationIdChanged();
    void isResponsePopoverOpenChanged();
    void isRecordingAudioChanged();
    void assessmentTextChanged();
    void processingStatusTextChanged();
    void isAssessmentStreamingChanged();
    void assessmentIsStaleChanged();

private:
    void setupSubscriptions();
    void receiveChatChunk(const QString& text);
    void receiveAssessmentChunk(const QString& text);
    void clearStreams(); // clears the reply and the assessment
    void saveCurrentConversation();
    void openConversation();
    void createConversation(const QString& id);
    void saveMessage(MessageRole role, const QString& content, const QList<AttachedFile>& files);
    static std::optional<QString> encodeAttachments(const QList<AttachedFile>& files);
    void submitViaCorvane(const QString& text);
    QCoro::Task<void> sendChat(QString text);
    QCoro::Task<void> submitViaCustomProvider(QString text);
    void setError(std::optional<QString> error);
    void setProcessingStatusText(std::optional<QString> text);
    void setCurrentConversationId(const QString& id);

    using Self = CompletionViewModel;
    Q_OBJECT_BINDABLE_PROPERTY(Self, QString, m_input, &Self::inputChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isLoading, false, &Self::isLoadingChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isResponsePopoverOpen, false,
                                         &Self::isResponsePopoverOpenChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isRecordingAudio, false,
                                         &Self::isRecordingAudioChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isAssessmentStreaming, false,
                                         &Self::isAssessmentStreamingChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_assessmentIsStale, false,
                                         &Self::assessmentIsStaleChanged)

    // A chunk is appended in place, at a cost that does not depend on the length of the text.
    StreamedText m_response;
    StreamedText m_assessmentText;
    std::optional<QString> m_error;
    std::optional<QString> m_processingStatusText;
    QList<AttachedFile> m_attachedFiles;
    std::optional<QString> m_currentConversationId;

    WebSocketService& m_webSocket;
    CorvaneAPIService& m_api;
    DatabaseService& m_database;
    CustomProviderService& m_provider;
    platform::DefaultsStore& m_defaults;
    const platform::Clock& m_clock;

    bool m_responseStreamComplete = true;
    bool m_assessmentStreamComplete = true;
    bool m_isCandidateSpeaking = false;

    platform::OperationScope m_operations;
    // The task of the latest provider stream. A stream that it replaces runs to its own end.
    QCoro::Task<void> m_currentStreamTask;
};

} // namespace corvane

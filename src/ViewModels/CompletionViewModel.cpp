#include "ViewModels/CompletionViewModel.h"

#include "Platform/Core/Tasks.h"
#include "Services/CorvaneAPIService.h"
#include "Services/CustomProviderService.h"
#include "Services/DatabaseService.h"
#include "Services/WebSocketService.h"
#include "Utilities/Json.h"
#include "ViewModels/SettingsViewModel.h"

#include <boost/json/array.hpp>

#include <QTextBoundaryFinder>

#include <array>

namespace corvane {

namespace {

struct StageLabel {
    const char* stage;
    const char* label;
};

constexpr std::array processingStageLabels{
    StageLabel{"analyzing", "Reviewing your request..."},
    StageLabel{"preparing", "Preparing guidance..."},
    StageLabel{"building_prompt", "Preparing guidance..."},
    StageLabel{"processing_questions", "Preparing interview..."},
    StageLabel{"generating", "Drafting guidance..."},
    StageLabel{"assessing", "Reviewing the answer..."},
    StageLabel{"thinking", "Working..."},
};

QString stageLabel(const QString& stage) {
    for (const auto& row : processingStageLabels) {
        if (stage == QLatin1String(row.stage)) {
            return QString::fromLatin1(row.label);
        }
    }
    return QStringLiteral("Processing...");
}

constexpr int titleLength = 50;

// Cuts the title by the characters that the user sees, so that no letter is separated from its accent.
QString conversationTitle(const QString& reply) {
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, reply);
    qsizetype end = 0;
    for (int count = 0; count < titleLength && end < reply.size(); ++count) {
        end = boundaries.toNextBoundary();
        if (end < 0) {
            end = reply.size();
        }
    }
    return reply.left(end).replace(u'\n', u' ');
}

} // namespace

CompletionViewModel::CompletionViewModel(WebSocketService& webSocket, CorvaneAPIService& api,
                                         DatabaseService& database, CustomProviderService& provider,
                                         platform::DefaultsStore& defaults, const platform::Clock& clock)
    : m_webSocket(webSocket)
    , m_api(api)
    , m_database(database)
    , m_provider(provider)
    , m_defaults(defaults)
    , m_clock(clock) {
    setupSubscriptions();
}

void CompletionViewModel::setupSubscriptions() {
    auto* source = &m_webSocket;
    connect(source, &WebSocketService::processingStatus, this,
            [this](const QString& stage) { setProcessingStatusText(stageLabel(stage)); });
    connect(source, &WebSocketService::chatChunk, this, &Self::receiveChatChunk);
    connect(source, &WebSocketService::chatComplete, this, [this] {
        setProcessingStatusText(std::nullopt);
        m_isLoading = false;
        m_responseStreamComplete = true;
        saveCurrentConversation();
    });
    connect(source, &WebSocketService::assessmentChunk, this, &Self::receiveAssessmentChunk);
    connect(source, &WebSocketService::assessmentComplete, this, [this] {
        setProcessingStatusText(std::nullopt);
        m_isLoading = false;
        m_assessmentStreamComplete = true;
        m_isAssessmentStreaming = false;
    });
    connect(source, &WebSocketService::interviewQuestions, this,
            [this] { setProcessingStatusText(std::nullopt); });
    connect(source, &WebSocketService::candidateSpeaking, this, [this] {
        m_isCandidateSpeaking = true;
        m_assessmentIsStale = true;
    });
    connect(source, &WebSocketService::candidateStoppedSpeaking, this,
            [this] { m_isCandidateSpeaking = false; });
    connect(source, &WebSocketService::endInterviewAck, this, [this] { m_assessmentIsStale = false; });
    connect(source, &WebSocketService::sessionResumed, this, [this] { m_assessmentIsStale = false; });
    connect(source, &WebSocketService::sessionFresh, this, [this] { m_assessmentIsStale = false; });
}

void CompletionViewModel::receiveChatChunk(const QString& text) {
    setProcessingStatusText(std::nullopt);
    if (m_responseStreamComplete) {
        m_response.clear();
        m_responseStreamComplete = false;
    }
    m_response.append(text);
    Q_EMIT responseChanged();
}

void CompletionViewModel::receiveAssessmentChunk(const QString& text) {
    setProcessingStatusText(std::nullopt);
    if (m_assessmentStreamComplete) {
        m_assessmentText.clear();
        m_assessmentStreamComplete = false;
    }
    m_isAssessmentStreaming = true;
    m_assessmentText.append(text);
    Q_EMIT assessmentTextChanged();
    if (!m_isCandidateSpeaking) {
        m_assessmentIsStale = false;
    }
}

void CompletionViewModel::submit() {
    const auto text = m_input.value().trimmed();
    if (text.isEmpty() && m_attachedFiles.isEmpty()) {
        return;
    }
    if (!m_currentConversationId) {
        startNewConversation();
    }
    saveMessage(MessageRole::user, text, m_attachedFiles);
    clearStreams();
    setProcessingStatusText(std::nullopt);
    m_isLoading = true;
    m_isResponsePopoverOpen = true;
    setError(std::nullopt);
    m_input = QString();

    // The setting is read from the store and not from the settings model, so that a change by another tool
    // takes effect at once.
    if (SettingsViewModel::isCorvaneApiEnabled(m_defaults)) {
        submitViaCorvane(text);
    } else {
        m_currentStreamTask = submitViaCustomProvider(text);
        setAttachedFiles({});
    }
}

void CompletionViewModel::submitViaCorvane(const QString& text) {
    platform::startTask(sendChat(text), "send chat");
    setAttachedFiles({});
}

QCoro::Task<void> CompletionViewModel::sendChat(QString text) {
    const auto ticket = m_operations.ticket();
    const auto failure = co_await platform::catchError(m_webSocket.send(WSCommand::chat(text)));
    ticket.ensureCurrent();
    if (failure) {
        setError(failure);
        m_isLoading = false;
    }
}

QCoro::Task<void> CompletionViewModel::submitViaCustomProvider(QString text) {
    const auto ticket = m_operations.ticket();
    const CustomProviderService::TextSink append = [this, ticket](const QString& piece) {
        if (ticket.isCurrent()) {
            m_response.append(piece);
            Q_EMIT responseChanged();
        }
        return ticket.isCurrent();
    };
    const auto failure =
        co_await platform::catchError(m_provider.fetchAIResponseStream(text, m_attachedFiles, append));
    ticket.ensureCurrent();
    m_isLoading = false;
    if (failure) {
        setError(failure);
    } else {
        saveCurrentConversation();
    }
}

void CompletionViewModel::startNewConversation() {
    openConversation();
    clearStreams();
    m_assessmentIsStale = false;
    m_isCandidateSpeaking = false;
    setError(std::nullopt);
}

void CompletionViewModel::keep(const QList<AttachedFile>& files) {
    if (!m_currentConversationId) {
        openConversation();
    }
    saveMessage(MessageRole::user, QString(), files);
}

void CompletionViewModel::openConversation() {
    const auto id = Conversation::newID();
    createConversation(id);
    setCurrentConversationId(id);
}

void CompletionViewModel::createConversation(const QString& id) {
    const auto now = m_clock.nowMilliseconds();
    m_database.createConversation(
        {.id = id, .title = QStringLiteral("New Chat"), .createdAt = now, .updatedAt = now});
}

void CompletionViewModel::saveMessage(MessageRole role, const QString& content,
                                      const QList<AttachedFile>& files) {
    const auto& id = *m_currentConversationId;
    // The conversation may be missing because the disk was full when it was to be stored. Without it no
    // message can be stored.
    if (!m_database.getConversation(id)) {
        createConversation(id);
    }
    m_database.saveMessage({.id = ChatMessage::newID(),
                            .conversationId = id,
                            .role = role,
                            .content = content,
                            .timestamp = m_clock.nowMilliseconds(),
                            .attachedFiles = encodeAttachments(files)});
}

void CompletionViewModel::clearAfterInterview() {
    clearStreams();
    setProcessingStatusText(std::nullopt);
    m_isResponsePopoverOpen = false;
    m_isLoading = false;
    m_isAssessmentStreaming = false;
    setError(std::nullopt);
    m_input = QString();
}

void CompletionViewModel::clearStreams() {
    m_response.clear();
    Q_EMIT responseChanged();
    m_assessmentText.clear();
    Q_EMIT assessmentTextChanged();
}

void CompletionViewModel::saveCurrentConversation() {
    if (!m_currentConversationId || m_response.text().isEmpty()) {
        return;
    }
    saveMessage(MessageRole::assistant, m_response.text(), {});
    m_database.updateConversation(*m_currentConversationId, conversationTitle(m_response.text()));
}

std::optional<QString> CompletionViewModel::encodeAttachments(const QList<AttachedFile>& files) {
    if (files.isEmpty()) {
        return std::nullopt;
    }
    boost::json::array array;
    for (const auto& file : files) {
        array.emplace_back(file.toJson());
    }
    return QString::fromUtf8(json::serialize(boost::json::value(std::move(array))));
}

void CompletionViewModel::setAttachedFiles(QList<AttachedFile> files) {
    if (files != m_attachedFiles) {
        m_attachedFiles = std::move(files);
        Q_EMIT attachedFilesChanged();
    }
}

void CompletionViewModel::setError(std::optional<QString> error) {
    if (error != m_error) {
        m_error = std::move(error);
        Q_EMIT errorChanged();
    }
}

void CompletionViewModel::setProcessingStatusText(std::optional<QString> text) {
    if (text != m_processingStatusText) {
        m_processingStatusText = std::move(text);
        Q_EMIT processingStatusTextChanged();
    }
}

void CompletionViewModel::setCurrentConversationId(const QString& id) {
    m_currentConversationId = id;
    Q_EMIT currentConversationIdChanged();
}

} // namespace corvane

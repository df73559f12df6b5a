#pragma once

#include <QProcess>
#include <QUrl>

#include <stdexcept>

// The chat-completion server of another make; it ends with this object.
class ChatServer {
public:
    // With the files of a certificate and its key it serves TLS.
    explicit ChatServer(const QStringList& certificateAndKey = {}) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(CHAT_SERVER), certificateAndKey);
        while (!m_process.canReadLine() && m_process.waitForReadyRead(20'000)) {
        }
        m_port = m_process.readLine().trimmed().toInt();
        if (m_port == 0) {
            throw std::runtime_error("the chat server did not start: is python3-aiohttp installed?");
        }
        m_scheme = certificateAndKey.isEmpty() ? QStringLiteral("http") : QStringLiteral("https");
    }
    ~ChatServer() {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    QString baseUrl() const { return QStringLiteral("%1://localhost:%2").arg(m_scheme).arg(m_port); }

private:
    QProcess m_process;
    QString m_scheme;
    int m_port = 0;
};

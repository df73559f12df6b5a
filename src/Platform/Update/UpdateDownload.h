#pragma once

#include "Platform/Network/HttpClient.h"
#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateKey.h"

#include <QFile>
#include <QObject>

#include <memory>

namespace platform {

class RedirectTrail;

// Fetches one release into a folder of the user's alone. What has arrived when the connection breaks is kept,
// and the next download of the same release goes on from there if the server still has the same file. The
// package gets its name only when its length and its signature are right; anything else leaves nothing
// behind. Main thread.
class UpdateDownload : public QObject {
    Q_OBJECT

public:
    UpdateDownload(AppcastItem item, UpdateKey key, QString folder, std::unique_ptr<HttpClient> http);

    // The path of the verified package. Throws UpdateError. Runs once; the object must outlive it.
    QCoro::Task<QString> run();
    // Ends it soon with UpdateError::cancelled.
    void cancel();
    // What the package must be before it is handed on: its length, its signature and its version. Throws
    // UpdateError.
    QCoro::Task<void> verify(QString path);

    // Empties the folder.
    static void removeAll(const QString& folder);

Q_SIGNALS:
    // From 0 to 1.
    void progressed(double share);

private:
    void endIfCancelled() const;
    void prepareFolder();
    void openPart();
    void restart();
    QCoro::Task<void> fetch();
    QCoro::Task<HttpResponse> request(QUrl address);
    void judge(const HttpResponse& response, RedirectTrail& trail);
    bool beginBody(const HttpResponse& head);
    bool take(const QByteArray& piece);
    void keep();
    void removePart();
    QString partPath() const { return m_base + QStringLiteral(".part"); }
    QString tagPath() const { return m_base + QStringLiteral(".etag"); }
    QString packagePath() const;

    const AppcastItem m_item;
    const UpdateKey m_key;
    const QString m_folder;
    QString m_base; // of the paths that belong to this release
    std::unique_ptr<HttpClient> m_http;
    QFile m_part;
    std::optional<UpdateError> m_failure; // found while the body came
    bool m_cancelled = false;
};

} // namespace platform

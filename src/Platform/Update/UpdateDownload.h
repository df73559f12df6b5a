#pragma once

#include "Platform/Network/HttpClient.h"
#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateKey.h"
#include "Platform/Update/UpdatePackage.h"

#include <QFile>
#include <QObject>

#include <memory>

namespace platform {

class RedirectTrail;

// Fetches one package into a folder that only the user can read. If the connection breaks, the part that has
// arrived is kept, and the next download of the same package continues from there if the server still has the
// same file. The package gets its name only once its length and its signature are verified; otherwise nothing
// is left behind. Main thread.
class UpdateDownload : public QObject {
    Q_OBJECT

public:
    UpdateDownload(QUrl address, PackageClaim claim, UpdateKey key, QString folder,
                   std::unique_ptr<HttpClient> http);

    // Returns the verified package, as the file that was verified. Throws UpdateError. Runs once; the object
    // must outlive it.
    QCoro::Task<std::shared_ptr<UpdatePackage>> run();
    // Makes run() end soon with UpdateError::cancelled.
    void cancel();

    // Deletes the folder with everything in it.
    static void removeAll(const QString& folder);

Q_SIGNALS:
    // `share` is from 0 to 1.
    void progressed(double share);

private:
    void throwIfCancelled() const;
    QCoro::Task<std::shared_ptr<UpdatePackage>> kept();
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

    const QUrl m_address;
    const PackageClaim m_claim;
    const UpdateKey m_key;
    const QString m_folder;
    QString m_base; // the start of this package's paths
    std::unique_ptr<HttpClient> m_http;
    std::shared_ptr<QFile> m_part;
    std::optional<UpdateError> m_failure; // that occurred while the body arrived
    bool m_cancelled = false;
};

} // namespace platform

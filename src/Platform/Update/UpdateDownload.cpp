#include "Platform/Update/UpdateDownload.h"

#include "Platform/Core/Background.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Storage/PrivateFile.h"
#include "Platform/Update/DebianPackage.h"
#include "Platform/Update/UpdateAddress.h"

#include <QCryptographicHash>
#include <QDir>
#include <QRegularExpression>

#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr int maxRestarts = 2; // after a lost connection
const auto packageSuffix = QStringLiteral(".deb");

// Only a strong tag guarantees identical bytes; a weak one means equivalent content.
QByteArray strongTag(const HttpResponse& head) {
    const auto tag = head.header("ETag").value_or(QByteArray());
    return tag.startsWith('"') ? tag : QByteArray();
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writePrivately(const QString& path, const QByteArray& content) {
    preparePrivateFile(path);
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

UpdateError diskFailure(const QString& reason) {
    return {
        UpdateError::downloadFailed,
        QStringLiteral("The update could not be stored on the disk (%1). Free some space, then check again.")
            .arg(reason)};
}

} // namespace

UpdateDownload::UpdateDownload(QUrl address, PackageClaim claim, UpdateKey key, QString folder,
                               std::unique_ptr<HttpClient> http)
    : m_address(std::move(address))
    , m_claim(std::move(claim))
    , m_key(std::move(key))
    , m_folder(std::move(folder))
    , m_http(std::move(http)) {
    const auto identity =
        QCryptographicHash::hash(m_claim.signature + m_address.toEncoded(), QCryptographicHash::Sha256);
    m_base = m_folder + u'/' + QString::fromLatin1(identity.toHex().first(16));
}

void UpdateDownload::removeAll(const QString& folder) {
    QDir(folder).removeRecursively();
}

void UpdateDownload::cancel() {
    m_cancelled = true;
    m_http.reset();
}

// Ends with the last part of the address, so that the package installer shows a name that the user has seen.
QString UpdateDownload::packagePath() const {
    static const QRegularExpression unsafe(QStringLiteral("[^A-Za-z0-9._+~-]"));
    auto name = m_address.fileName();
    name.remove(unsafe);
    return m_base + u'-' + name + (name.endsWith(packageSuffix) ? QString() : packageSuffix);
}

// Also removes the files of older releases.
void UpdateDownload::prepareFolder() {
    constexpr auto privately = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    if (!QDir().mkpath(m_folder) || !QFile::setPermissions(m_folder, privately)) {
        throw diskFailure(QStringLiteral("cannot create the folder %1").arg(m_folder));
    }
    for (const auto& file : QDir(m_folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (!file.filePath().startsWith(m_base)) {
            QFile::remove(file.filePath());
        }
    }
}

QCoro::Task<std::shared_ptr<UpdatePackage>> UpdateDownload::run() {
    prepareFolder();
    auto package = co_await kept();
    throwIfCancelled();
    if (package) {
        co_return package;
    }
    co_await fetch();
    package = std::make_shared<UpdatePackage>(m_part, packagePath());
    try {
        co_await UpdatePackage::verify(package, m_claim, m_key);
    } catch (const UpdateError&) {
        throwIfCancelled();
        removePart();
        throw;
    }
    throwIfCancelled();
    keep();
    co_return package;
}

// Returns the package that an earlier run has fetched, if it is still valid.
QCoro::Task<std::shared_ptr<UpdatePackage>> UpdateDownload::kept() {
    auto package = UpdatePackage::open(packagePath());
    if (package) {
        try {
            co_await UpdatePackage::verify(package, m_claim, m_key);
        } catch (const UpdateError&) {
            throwIfCancelled();
            QFile::remove(packagePath());
            package.reset();
        }
    }
    co_return package;
}

void UpdateDownload::throwIfCancelled() const {
    if (m_cancelled) {
        throw UpdateError(UpdateError::cancelled, QStringLiteral("The download was cancelled."));
    }
}

QCoro::Task<void> UpdateDownload::fetch() {
    RedirectTrail trail(m_address, QStringLiteral("The update"));
    int restarts = 0;
    throwIfCancelled();
    openPart();
    while (m_part->size() < m_claim.length) {
        std::optional<HttpError> lost;
        try {
            const auto response = co_await request(trail.address());
            judge(response, trail);
        } catch (const HttpError& error) {
            lost = error;
        } catch (const OperationCancelled&) {
            m_cancelled = true;
        }
        throwIfCancelled();
        if (lost && restarts++ == maxRestarts) {
            throw UpdateError(
                UpdateError::downloadFailed,
                QStringLiteral("The download stopped: %1 Check again to continue.").arg(errorText(*lost)));
        }
    }
}

void UpdateDownload::openPart() {
    if (contentsOf(tagPath()).isEmpty()) {
        removePart();
    }
    m_part = std::make_shared<QFile>();
    const int descriptor = ::open(QFile::encodeName(partPath()).constData(),
                                  O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0 ||
        !m_part->open(descriptor, QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered,
                      QFile::AutoCloseHandle)) {
        throw diskFailure(qt_error_string());
    }
    if (m_part->size() > m_claim.length) {
        restart();
    }
}

void UpdateDownload::restart() {
    QFile::remove(tagPath());
    m_part->resize(0);
}

QCoro::Task<HttpResponse> UpdateDownload::request(QUrl address) {
    HttpRequest request{.method = "GET", .url = std::move(address), .headers = {}, .body = {}};
    // Without a tag the rest could belong to another file than the start.
    const auto tag = contentsOf(tagPath());
    if (const auto offset = m_part->size(); offset > 0 && !tag.isEmpty()) {
        request.headers = {{"Range", "bytes=" + QByteArray::number(offset) + '-'}, {"If-Range", tag}};
    }
    request.wantsBody = [this](const HttpResponse& head) { return beginBody(head); };
    const HttpClient::BodySink sink = [this](const QByteArray& piece) { return take(piece); };
    auto answer = m_http->stream(std::move(request), sink);
    auto response = co_await std::move(answer);
    co_return response;
}

bool UpdateDownload::beginBody(const HttpResponse& head) {
    if (head.status == 206) {
        const auto range = "bytes " + QByteArray::number(m_part->size()) + '-';
        return head.header("Content-Range").value_or(QByteArray()).startsWith(range);
    }
    if (head.status != 200) {
        return false;
    }
    restart();
    if (const auto tag = strongTag(head); !tag.isEmpty() && !writePrivately(tagPath(), tag)) {
        m_failure = diskFailure(qt_error_string());
    }
    return !m_failure;
}

bool UpdateDownload::take(const QByteArray& piece) {
    if (m_failure || m_cancelled) {
        return false;
    }
    if (m_part->size() + piece.size() > m_claim.length) {
        m_failure = UpdateError(UpdateError::downloadFailed,
                                QStringLiteral("The update is longer than announced, so it was thrown away. "
                                               "Contact the administrator of the update server."));
    } else if (m_part->write(piece) != piece.size()) {
        m_failure = diskFailure(m_part->errorString());
    } else {
        Q_EMIT progressed(static_cast<double>(m_part->size()) / static_cast<double>(m_claim.length));
    }
    return !m_failure;
}

// Called after a complete response, once the whole body has been taken.
void UpdateDownload::judge(const HttpResponse& response, RedirectTrail& trail) {
    if (m_cancelled) {
        return;
    }
    if (m_failure) {
        removePart();
        throw *m_failure;
    }
    if (isRedirect(response)) {
        trail.follow(response);
        return;
    }
    const bool isBody = response.status == 200 || response.status == 206;
    if (isBody && m_part->size() == m_claim.length) {
        return;
    }
    removePart();
    throw UpdateError(
        UpdateError::downloadFailed,
        isBody ? QStringLiteral(
                     "The update is shorter than announced, so it was thrown away. Check again later.")
               : QStringLiteral("The update server answered with status %1. Check again later.")
                     .arg(response.status));
}

// Synced to the disk before it gets its name: after a crash there is either the whole package or none.
void UpdateDownload::keep() {
    const bool kept = ::fsync(m_part->handle()) == 0 && QFile::rename(partPath(), packagePath());
    QFile::remove(tagPath());
    if (!kept) {
        removePart();
        throw diskFailure(qt_error_string());
    }
}

void UpdateDownload::removePart() {
    m_part.reset();
    QFile::remove(partPath());
    QFile::remove(tagPath());
}

} // namespace platform

#include "Platform/Storage/DefaultsStore.h"

#include "Platform/Core/Log.h"
#include "Platform/Storage/DefaultsFile.h"
#include "Platform/Storage/DefaultsText.h"
#include "Platform/Storage/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <map>
#include <tuple>

#include <sys/stat.h>

namespace platform {

namespace {

// A write gives the new file the mode of the old one, so the old one is made private first.
void prepareFile(const QString& path) {
    const auto folder = QFileInfo(path).absolutePath();
    QDir().mkpath(QFileInfo(folder).absolutePath());
    QDir().mkdir(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    preparePrivateFile(path);
}

// Converts between values and their texts.
class TextDefaultsStore : public DefaultsStore {
public:
    bool contains(const QString& key) const override { return text(key).has_value(); }
    std::optional<QString> string(const QString& key) const override {
        return read(key, defaultstext::toString);
    }
    std::optional<bool> boolean(const QString& key) const override {
        return read(key, defaultstext::toBoolean);
    }
    std::optional<qint64> integer(const QString& key) const override {
        return read(key, defaultstext::toInteger);
    }
    std::optional<double> real(const QString& key) const override { return read(key, defaultstext::toReal); }
    std::optional<QByteArray> data(const QString& key) const override {
        return read(key, defaultstext::toData);
    }

    // A value that does not change stays as it was written by hand.
    void setString(const QString& key, const QString& value) override {
        change(key, string(key) == value, defaultstext::fromString(value));
    }
    void setBool(const QString& key, bool value) override {
        change(key, boolean(key) == value, defaultstext::fromBoolean(value));
    }
    void setInteger(const QString& key, qint64 value) override {
        change(key, integer(key) == value, defaultstext::fromInteger(value));
    }
    void setDouble(const QString& key, double value) override {
        change(key, real(key) == value, defaultstext::fromReal(value));
    }
    void setData(const QString& key, const QByteArray& value) override {
        change(key, isSame(data(key), value), defaultstext::fromData(value));
    }

protected:
    virtual std::optional<QString> text(const QString& key) const = 0;
    virtual void setText(const QString& key, const QString& text) = 0;

private:
    void change(const QString& key, bool isThere, const QString& text) {
        if (!isThere) {
            setText(key, text);
        }
    }
    // Compares as bytes, or as JSON regardless of its layout.
    static bool isSame(const std::optional<QByteArray>& stored, const QByteArray& value) {
        if (!stored || *stored == value) {
            return stored.has_value();
        }
        const auto document = QJsonDocument::fromJson(value);
        return !document.isNull() && QJsonDocument::fromJson(*stored) == document;
    }
    template<typename Value>
    std::optional<Value> read(const QString& key, std::optional<Value> (*convert)(const QString&)) const {
        const auto found = text(key);
        return found ? convert(*found) : std::nullopt;
    }
};

// The attributes that show whether a file has changed.
struct FileState {
    bool exists = false;
    struct stat status = {};

    static FileState of(const QString& path) {
        FileState state;
        state.exists = ::stat(QFile::encodeName(path).constData(), &state.status) == 0;
        return state;
    }
    bool operator==(const FileState& other) const {
        const auto facts = [](const FileState& state) {
            const auto& s = state.status;
            return std::tuple(state.exists, s.st_ino, s.st_size, s.st_mtim.tv_sec, s.st_mtim.tv_nsec,
                              s.st_ctim.tv_sec, s.st_ctim.tv_nsec);
        };
        return facts(*this) == facts(other);
    }
};

// Each call checks whether the file has been edited in the meantime.
class FileDefaultsStore : public TextDefaultsStore {
public:
    explicit FileDefaultsStore(const QString& path)
        : m_path(path) {
        prepareFile(m_path);
        reload();
    }

    void remove(const QString& key) override {
        reload();
        m_file.remove(key);
        save();
    }

protected:
    std::optional<QString> text(const QString& key) const override {
        reload();
        return m_file.text(key);
    }
    void setText(const QString& key, const QString& text) override {
        reload();
        m_file.setText(key, text);
        save();
    }

private:
    void reload() const {
        const auto state = FileState::of(m_path);
        if (state == m_state) {
            return;
        }
        m_state = state;
        QFile file(m_path);
        m_isUsable =
            !state.exists || (file.open(QIODevice::ReadOnly) && file.size() <= DefaultsFile::largest);
        m_file = DefaultsFile(m_isUsable && state.exists ? file.readAll() : QByteArray());
        if (!m_isUsable) {
            printLine(QStringLiteral(
                          "[Settings] %1 cannot be read: it is left unchanged, and new settings are lost "
                          "when the program ends")
                          .arg(m_path));
        }
        reportUnreadLines();
    }

    // Reports each line once, however often the file is read.
    void reportUnreadLines() const {
        auto unread = m_file.unread();
        unread.removeIf([this](const DefaultsFile::Unread& line) { return m_reportedLines.contains(line); });
        if (unread.isEmpty()) {
            return;
        }
        QStringList numbers;
        for (const auto& line : unread.first(std::min<qsizetype>(unread.size(), maxReportedLines))) {
            numbers.append(QString::number(line.line));
        }
        m_reportedLines = m_file.unread();
        printLine(QStringLiteral("[Settings] %1, line %2: cannot be read and is left unchanged")
                      .arg(m_path, numbers.join(QStringLiteral(", "))));
    }

    void save() {
        if (!m_isUsable) {
            return;
        }
        prepareFile(m_path);
        QSaveFile file(m_path);
        const auto content = m_file.content();
        const bool saved =
            file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
        if (!saved && !std::exchange(m_reportedFailure, true)) {
            printLine(QStringLiteral("[Settings] Could not write ") + m_path);
        }
        m_state = FileState::of(m_path);
    }

    static constexpr qsizetype maxReportedLines = 10;

    const QString m_path;
    mutable FileState m_state;
    mutable DefaultsFile m_file;
    mutable QList<DefaultsFile::Unread> m_reportedLines;
    mutable bool m_isUsable = true;
    bool m_reportedFailure = false;
};

class MemoryDefaultsStore : public TextDefaultsStore {
public:
    void remove(const QString& key) override { m_texts.erase(key); }

protected:
    std::optional<QString> text(const QString& key) const override {
        const auto found = m_texts.find(key);
        return found == m_texts.end() ? std::nullopt : std::optional(found->second);
    }
    void setText(const QString& key, const QString& text) override { m_texts[key] = text; }

private:
    std::map<QString, QString> m_texts;
};

} // namespace

std::unique_ptr<DefaultsStore> makeFileDefaultsStore(const QString& path) {
    return std::make_unique<FileDefaultsStore>(path);
}

std::unique_ptr<DefaultsStore> makeMemoryDefaultsStore() {
    return std::make_unique<MemoryDefaultsStore>();
}

} // namespace platform

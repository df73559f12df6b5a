#include "Platform/Storage/DefaultsStore.h"

#include "Platform/Core/Log.h"
#include "Platform/Storage/DefaultsText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

// Comments, and lines that say nothing, stay above the entry they were found above. '#' begins no entry's
// key.
constexpr QLatin1StringView remarksPrefix("#/");
constexpr QLatin1StringView generalSection("[General]");

// QSettings' own INI form takes quotes and commas out of a value, and with them any JSON: here a value is the
// rest of its line.
bool readLines(QIODevice& device, QSettings::SettingsMap& entries) {
    QString section;
    QStringList remarks;
    const auto keepRemarks = [&](const QString& key) {
        if (!remarks.isEmpty()) {
            entries.insert(remarksPrefix + key, std::exchange(remarks, {}));
        }
    };
    while (!device.atEnd()) {
        const auto line = QString::fromUtf8(device.readLine()).trimmed();
        const auto equals = line.indexOf(u'=');
        if (line.startsWith(u'[') && line.endsWith(u']')) {
            section = line == generalSection ? QString() : line.sliced(1).chopped(1) + u'/';
        } else if (line.startsWith(u'#') || line.startsWith(u';') || (equals < 1 && !line.isEmpty())) {
            remarks.append(line);
        } else if (!line.isEmpty()) {
            const auto key = section + line.first(equals).trimmed();
            keepRemarks(key);
            entries.insert(key, line.sliced(equals + 1).trimmed());
        }
    }
    keepRemarks({});
    return true;
}

bool writeLines(QIODevice& device, const QSettings::SettingsMap& entries) {
    QByteArray text = QByteArray(generalSection.data()) + '\n';
    QStringList orphans;
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (entry.key().startsWith(remarksPrefix)) {
            if (!entries.contains(entry.key().sliced(remarksPrefix.size()))) {
                orphans += entry.value().toStringList();
            }
            continue;
        }
        for (const auto& remark : entries.value(remarksPrefix + entry.key()).toStringList()) {
            text += remark.toUtf8() + '\n';
        }
        text += entry.key().toUtf8() + '=' + entry.value().toString().toUtf8() + '\n';
    }
    for (const auto& remark : orphans) {
        text += remark.toUtf8() + '\n';
    }
    return device.write(text) == text.size();
}

QSettings::Format fileFormat() {
    static const auto format =
        QSettings::registerFormat(QStringLiteral("conf"), readLines, writeLines, Qt::CaseSensitive);
    return format;
}

// QSettings replaces the file by a new one of the same mode: make it first, for the user alone. An editor may
// have widened the mode since.
void preparePrivateFile(const QString& path) {
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    const auto folder = QFileInfo(path).absolutePath();
    QDir().mkpath(QFileInfo(folder).absolutePath());
    QDir().mkdir(folder, ownerOnly);
    const auto name = QFile::encodeName(path);
    const int file = ::open(name.constData(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file >= 0) {
        ::fchmod(file, 0600);
        ::close(file);
    }
}

// The kinds, over a map of texts.
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

    void setString(const QString& key, const QString& value) override {
        setText(key, defaultstext::fromString(value));
    }
    void setBoolean(const QString& key, bool value) override {
        setText(key, defaultstext::fromBoolean(value));
    }
    void setInteger(const QString& key, qint64 value) override {
        setText(key, defaultstext::fromInteger(value));
    }
    void setReal(const QString& key, double value) override { setText(key, defaultstext::fromReal(value)); }
    void setData(const QString& key, const QByteArray& value) override {
        setText(key, defaultstext::fromData(value));
    }

protected:
    virtual std::optional<QString> text(const QString& key) const = 0;
    virtual void setText(const QString& key, const QString& text) = 0;

private:
    template<typename Value>
    std::optional<Value> read(const QString& key, std::optional<Value> (*convert)(const QString&)) const {
        const auto found = text(key);
        return found ? convert(*found) : std::nullopt;
    }
};

class FileDefaultsStore : public TextDefaultsStore {
public:
    explicit FileDefaultsStore(const QString& path)
        : m_path(path)
        , m_settings(prepared(path), fileFormat()) {}

    void remove(const QString& key) override {
        m_settings.remove(key);
        save();
    }

protected:
    std::optional<QString> text(const QString& key) const override {
        const auto value = m_settings.value(key);
        return value.isValid() ? std::optional(value.toString()) : std::nullopt;
    }
    void setText(const QString& key, const QString& text) override {
        m_settings.setValue(key, text);
        save();
    }

private:
    static const QString& prepared(const QString& path) {
        preparePrivateFile(path);
        return path;
    }

    void save() {
        preparePrivateFile(m_path);
        m_settings.sync();
        const bool failed = m_settings.status() != QSettings::NoError;
        if (failed && !std::exchange(m_saidFailure, true)) {
            printLine(QStringLiteral("[Settings] Could not write ") + m_path);
        }
    }

    QString m_path;
    QSettings m_settings;
    bool m_saidFailure = false;
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

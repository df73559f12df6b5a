#pragma once

#include <QHash>
#include <QString>

#include <optional>

namespace platform {

// What an installed program knows about itself: a flat JSON object of strings in a file beside the program.
class ApplicationInfo {
public:
    ApplicationInfo() = default;
    explicit ApplicationInfo(QHash<QString, QString> values)
        : m_values(std::move(values)) {}

    // Loads the file that the environment variable `overrideVariable` names or, if it is not set, the first
    // that exists of <dir of the executable>/<fileName> and <dir>/../share/<shareFolder>/<fileName>. A
    // missing or unreadable file counts as empty, and values that are not strings are ignored. A program that
    // uses the second location is installed: there the variable does not replace the values of `fixedKeys`.
    static ApplicationInfo load(const QString& fileName, const QString& shareFolder,
                                const char* overrideVariable, const QStringList& fixedKeys);
    static ApplicationInfo fromJson(const QByteArray& json);

    std::optional<QString> string(const QString& key) const;

private:
    QHash<QString, QString> m_values;
};

} // namespace platform

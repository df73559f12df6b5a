#include "Platform/Desktop/ApplicationInfo.h"

#include "Platform/Core/Log.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace platform {

namespace {

QString locate(const QString& fileName, const QString& shareFolder, const char* overrideVariable) {
    const auto chosen = qEnvironmentVariable(overrideVariable);
    if (!chosen.isEmpty()) {
        return chosen;
    }
    const auto programFolder = QCoreApplication::applicationDirPath();
    for (const auto& path : {programFolder + u'/' + fileName,
                             programFolder + QStringLiteral("/../share/") + shareFolder + u'/' + fileName}) {
        if (QFile::exists(path)) {
            return path;
        }
    }
    return {};
}

} // namespace

ApplicationInfo ApplicationInfo::load(const QString& fileName, const QString& shareFolder,
                                      const char* overrideVariable) {
    const auto path = locate(fileName, shareFolder, overrideVariable);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        logLine(QStringLiteral("[App] No readable application information (%1)")
                    .arg(path.isEmpty() ? fileName : path));
        return {};
    }
    return fromJson(file.readAll());
}

ApplicationInfo ApplicationInfo::fromJson(const QByteArray& json) {
    const auto object = QJsonDocument::fromJson(json).object();
    QHash<QString, QString> values;
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (member->isString()) {
            values.insert(member.key(), member->toString());
        }
    }
    return ApplicationInfo(std::move(values));
}

std::optional<QString> ApplicationInfo::string(const QString& key) const {
    const auto found = m_values.constFind(key);
    return found == m_values.cend() ? std::nullopt : std::optional(*found);
}

} // namespace platform

#include "Platform/Desktop/ApplicationInfo.h"

#include "Platform/Core/Log.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace platform {

namespace {

ApplicationInfo read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        logLine(QStringLiteral("[App] The application information in %1 cannot be read").arg(path));
        return {};
    }
    return ApplicationInfo::fromJson(file.readAll());
}

} // namespace

ApplicationInfo ApplicationInfo::load(const QString& fileName, const QString& shareFolder,
                                      const char* overrideVariable, const QStringList& fixedKeys) {
    const auto programFolder = QCoreApplication::applicationDirPath();
    const auto beside = programFolder + u'/' + fileName;
    const auto shared = programFolder + QStringLiteral("/../share/") + shareFolder + u'/' + fileName;
    const bool isInstalled = !QFile::exists(beside) && QFile::exists(shared);
    const auto& own = isInstalled ? shared : beside;
    const auto chosen = qEnvironmentVariable(overrideVariable);
    if (chosen.isEmpty()) {
        return read(own);
    }
    auto info = read(chosen);
    if (isInstalled) {
        const auto installed = read(own);
        for (const auto& key : fixedKeys) {
            info.m_values.remove(key);
            if (const auto value = installed.string(key)) {
                info.m_values.insert(key, *value);
            }
        }
    }
    return info;
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

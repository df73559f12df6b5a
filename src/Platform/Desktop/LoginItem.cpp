#include "Platform/Desktop/LoginItem.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <stdexcept>

namespace platform {

namespace {

[[noreturn]] void fail(const QString& path, const QString& reason) {
    throw std::runtime_error((path + QStringLiteral(": ") + reason).toStdString());
}

// Quotes an argument of an Exec key as desktop entries require; a percent sign would begin a field code.
QString execArgument(QString text) {
    text.replace(u'%', QStringLiteral("%%"));
    static const auto reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (std::none_of(text.begin(), text.end(), [](QChar sign) { return reserved.contains(sign); })) {
        return text;
    }
    for (const auto sign : QStringLiteral("\\\"`$")) {
        text.replace(sign, QStringLiteral("\\") + sign);
    }
    // The value of a key is unescaped once more before its arguments are read.
    return u'"' + text.replace(u'\\', QStringLiteral("\\\\")) + u'"';
}

class AutostartEntry : public LoginItem {
public:
    AutostartEntry(const QString& folder, const QString& applicationId, QString name, QString executable)
        : m_folder(folder)
        , m_path(folder + u'/' + applicationId + QStringLiteral(".desktop"))
        , m_name(std::move(name))
        , m_executable(std::move(executable)) {}

    void registerItem() override {
        if (!QDir().mkpath(m_folder)) {
            fail(m_folder, QStringLiteral("The folder could not be created."));
        }
        QSaveFile file(m_path);
        const auto text = QStringLiteral("[Desktop Entry]\nType=Application\nVersion=1.5\nName=%1\nExec=%2\n"
                                         "Terminal=false\nX-GNOME-Autostart-enabled=true\n")
                              .arg(m_name, execArgument(m_executable))
                              .toUtf8();
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
            fail(m_path, file.errorString());
        }
    }

    void unregisterItem() override {
        QFile file(m_path);
        if (file.exists() && !file.remove()) {
            fail(m_path, file.errorString());
        }
    }

private:
    const QString m_folder;
    const QString m_path;
    const QString m_name;
    const QString m_executable;
};

} // namespace

std::unique_ptr<LoginItem> makeAutostartEntry(const QString& folder, const QString& applicationId,
                                              const QString& name, const QString& executable) {
    return std::make_unique<AutostartEntry>(folder, applicationId, name, executable);
}

} // namespace platform

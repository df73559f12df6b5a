#include "fuzz/Fuzzing.h"

#include "Platform/Storage/DefaultsStore.h"

#include <QFile>
#include <QTemporaryDir>

// A file that somebody edited: what is written into it afterwards is there, and what was there stays.
void fuzz(const QByteArray& input) {
    static const QTemporaryDir folder;
    const auto path = folder.filePath(QStringLiteral("defaults.ini"));
    QFile file(path);
    ALWAYS(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(input);
    file.close();

    const auto key = QStringLiteral("key");
    const auto value = QString::fromUtf8(input.left(40));
    std::optional<QString> other;
    {
        const auto store = platform::makeFileDefaultsStore(path);
        other = store->string(QStringLiteral("other"));
        store->setString(key, value);
        ALWAYS(store->string(key) == value);
    }
    const auto again = platform::makeFileDefaultsStore(path);
    ALWAYS(again->string(key) == value);
    ALWAYS(again->string(QStringLiteral("other")) == other);
}

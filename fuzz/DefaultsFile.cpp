#include "fuzz/Fuzzing.h"

#include "Platform/Storage/DefaultsStore.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

// A file that was edited by hand: values written to it must be there, and its other contents must stay.
void fuzz(const QByteArray& input) {
    static const QTemporaryDir folder;
    const auto path = folder.filePath(QStringLiteral("defaults.ini"));
    QFile file(path);
    ALWAYS(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(input);
    file.close();
    const auto contentOf = [&path] {
        QFile written(path);
        return written.open(QIODevice::ReadOnly) ? written.readAll() : QByteArray();
    };

    const auto key = QStringLiteral("key");
    const auto value = QString::fromUtf8(input.left(40));
    std::optional<QString> other;
    {
        const auto store = platform::makeFileDefaultsStore(path);
        other = store->string(QStringLiteral("other"));
        ALWAYS(contentOf() == input);
        const bool isNew = !store->contains(key);
        store->setString(key, value);
        ALWAYS(store->string(key) == value);
        // A new entry is inserted somewhere, and leaves the rest intact.
        const auto after = contentOf();
        ALWAYS(!isNew || after.size() > input.size());
        if (isNew) {
            const auto start = std::ranges::mismatch(after, input).in1 - after.begin();
            ALWAYS(input.isEmpty() || input.endsWith(after.last(input.size() - start)));
        }
    }
    const auto again = platform::makeFileDefaultsStore(path);
    ALWAYS(again->string(key) == value);
    ALWAYS(again->string(QStringLiteral("other")) == other);
}

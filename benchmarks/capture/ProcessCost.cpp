#include "ProcessCost.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <stdexcept>

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error(path.toStdString() + " cannot be read");
    }
    return file.readAll();
}

qint64 valueAfter(const QByteArray& text, const QByteArray& key) {
    const auto start = text.indexOf(key) + key.size();
    return text.mid(start, text.indexOf('\n', start) - start).trimmed().toLongLong();
}

} // namespace

ProcessCost ProcessCost::of(qint64 process) {
    ProcessCost result;
    const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
    for (const auto& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const auto folder = threads.filePath(thread);
        // Nanoseconds on a processor, nanoseconds waiting for one, turns.
        const auto times = contents(folder + QStringLiteral("/schedstat")).split(' ');
        result.milliseconds += static_cast<double>(times.value(0).toLongLong()) / 1e6;
        result.wakeUps += valueAfter(contents(folder + QStringLiteral("/status")),
                                     QByteArrayLiteral("\nvoluntary_ctxt_switches:"));
    }
    return result;
}

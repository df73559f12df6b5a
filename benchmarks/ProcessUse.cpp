#include "benchmarks/ProcessUse.h"

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

// Returns the number after `name`, which begins a line.
double field(const QByteArray& text, const QByteArray& name) {
    const auto start = text.indexOf('\n' + name) + 1 + name.size();
    return text.mid(start).trimmed().split(' ').first().split('\n').first().toDouble();
}

} // namespace

ProcessUse ProcessUse::of(qint64 process) {
    const auto folder = QStringLiteral("/proc/%1/").arg(process);
    ProcessUse use;
    use.resident = field(contents(folder + QStringLiteral("status")), "VmRSS:") / 1024;
    const QDir threads(folder + QStringLiteral("task"));
    for (const auto& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const auto files = threads.filePath(thread);
        // The fields are nanoseconds on a processor, nanoseconds waiting for one, and time slices.
        const auto times = contents(files + QStringLiteral("/schedstat")).split(' ');
        use.processorTime += times.first().toDouble() / 1e6;
        use.switches += field(contents(files + QStringLiteral("/status")), "voluntary_ctxt_switches:");
    }
    return use;
}

double proportionalMemory(qint64 process) {
    return field(contents(QStringLiteral("/proc/%1/smaps_rollup").arg(process)), "Pss:") / 1024;
}

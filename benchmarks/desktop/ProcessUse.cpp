#include "ProcessUse.h"

#include <QDir>
#include <QFile>

namespace {

// The number behind `name` in a file of the proc file system; 0 without one.
double field(const QString& path, const QByteArray& name) {
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (const auto& line : file.readAll().split('\n')) {
            if (line.startsWith(name)) {
                return line.mid(name.size()).trimmed().split(' ').first().toDouble();
            }
        }
    }
    return 0;
}

QString procFolder(qint64 process) {
    return QStringLiteral("/proc/%1/").arg(process);
}

double processorMilliseconds(qint64 process) {
    QFile file(procFolder(process) + QStringLiteral("stat"));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const auto text = file.readAll();
    const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    constexpr double millisecondsPerTick = 10; // USER_HZ
    return (fields.at(11).toDouble() + fields.at(12).toDouble()) * millisecondsPerTick;
}

double voluntarySwitches(qint64 process) {
    double sum = 0;
    const QDir threads(procFolder(process) + QStringLiteral("task"));
    for (const auto& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        sum += field(threads.filePath(thread) + QStringLiteral("/status"), "voluntary_ctxt_switches:");
    }
    return sum;
}

} // namespace

ProcessUse ProcessUse::of(qint64 process) {
    const auto folder = procFolder(process);
    ProcessUse use;
    use.resident = field(folder + QStringLiteral("status"), "VmRSS:") / 1024;
    use.proportional = field(folder + QStringLiteral("smaps_rollup"), "Pss:") / 1024;
    use.processorTime = processorMilliseconds(process);
    use.switches = voluntarySwitches(process);
    return use;
}

#include "sandbox/tour/Transcript.h"

#include <cstdio>

namespace {

constexpr int roleWidth = 12;

void print(const QString& text) {
    const auto utf8 = text.toUtf8() + '\n';
    std::fwrite(utf8.constData(), 1, static_cast<size_t>(utf8.size()), stdout);
    std::fflush(stdout);
}

} // namespace

Transcript::Transcript() {
    m_timer.start();
}

void Transcript::chapter(const QString& title) {
    print(QStringLiteral("\n== %1").arg(title));
}

void Transcript::say(const QString& role, const QString& text) {
    print(QStringLiteral("%1 s  %2  %3").arg(seconds(), 6, 'f', 1).arg(role, -roleWidth).arg(text));
}

void Transcript::quote(const QString& text) {
    for (const auto& line : text.trimmed().split(u'\n')) {
        print(QString(24, u' ') + QStringLiteral("| ") + line);
    }
}

void Transcript::log(const QString& line) {
    say(QStringLiteral("  log"), line);
}

#pragma once

#include "Platform/Core/Log.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The entry point of a fuzzer: a target includes this once and defines fuzz().

// Checks a condition that must hold for any input; the fuzzer keeps an input that violates it.
#define ALWAYS(condition)                                                                                    \
    if (!(condition)) {                                                                                      \
        std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                  \
        std::abort();                                                                                        \
    } else                                                                                                   \
        static_cast<void>(0)

void fuzz(const QByteArray& input);

// Splits an input into its first line and the rest.
struct TwoParts {
    QByteArray first;
    QByteArray rest;

    explicit TwoParts(const QByteArray& input)
        : first(input.left(input.indexOf('\n')))
        , rest(input.mid(first.size() + 1)) {}
};

// Passes `whole` to `take` in pieces. The bytes of `lengths`, used over and over, give their lengths, from 1.
template<typename Text, typename Take>
void inPieces(const Text& whole, const QByteArray& lengths, Take take) {
    qsizetype piece = 0;
    for (qsizetype at = 0; at < whole.size();) {
        const auto wanted =
            lengths.isEmpty() ? 1 : 1 + static_cast<uchar>(lengths.at(piece++ % lengths.size())) % 48;
        const auto count = std::min<qsizetype>(wanted, whole.size() - at);
        take(whole.mid(at, count));
        at += count;
    }
}

// Discards the log lines of the parsers.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    return 0;
}

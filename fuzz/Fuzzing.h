#pragma once

#include "Platform/Core/Log.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The entry of a fuzzer: a target includes this once and defines fuzz().

// What has to hold for any input; the fuzzer keeps the input where it does not.
#define ALWAYS(condition)                                                                                    \
    if (!(condition)) {                                                                                      \
        std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                  \
        std::abort();                                                                                        \
    } else                                                                                                   \
        static_cast<void>(0)

void fuzz(const QByteArray& input);

// The first line of an input, and the rest.
struct TwoParts {
    QByteArray first;
    QByteArray rest;

    explicit TwoParts(const QByteArray& input)
        : first(input.left(input.indexOf('\n')))
        , rest(input.mid(first.size() + 1)) {}
};

// Hands `whole` over in pieces whose lengths, from 1, are the bytes of `lengths`, over and over.
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

// The parsers' own log lines say nothing here.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    return 0;
}

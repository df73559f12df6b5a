#pragma once

#include <QByteArray>
#include <QList>
#include <QtEndian>

#include <cstdint>

// What a test wants to know of a mono 16-bit WAV file.
struct WavFile {
    explicit WavFile(const QByteArray& bytes)
        : sampleRate(qFromLittleEndian<quint32>(bytes.constData() + 24))
        , dataSize(qFromLittleEndian<quint32>(bytes.constData() + 40)) {
        for (qsizetype i = 44; i + 1 < bytes.size(); i += 2) {
            samples.append(qFromLittleEndian<qint16>(bytes.constData() + i));
        }
    }

    quint32 sampleRate;
    quint32 dataSize;
    QList<qint16> samples;
};

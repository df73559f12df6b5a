#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <functional>

namespace corvane {

// Cuts bytes that come in pieces of any size into lines. A line ends at CR LF, LF or CR and nowhere else; the
// empty line between two ends counts as one.
class LineReader {
public:
    // Gets a line without its end, valid during the call. False: no more lines, now or ever.
    using Sink = std::function<bool(QByteArrayView line)>;

    // `maxBytes`: of one line.
    LineReader(qsizetype maxBytes, Sink sink);

    // Hands over the lines that end in here; a CR ends its line at once, whatever follows.
    void feed(QByteArrayView bytes);
    // There is nothing more: the rest is a line if it is not empty.
    void finish();
    // A line was longer than allowed. It was dropped, and so is all behind it.
    bool isOverlong() const { return m_isOverlong; }
    // The sink wants no more, or a line was too long.
    bool isClosed() const { return m_isClosed; }

private:
    void take(QByteArrayView part, bool ends);

    qsizetype m_maxBytes;
    Sink m_sink;
    QByteArray m_begun;
    bool m_afterReturn = false;
    bool m_isOverlong = false;
    bool m_isClosed = false;
};

} // namespace corvane

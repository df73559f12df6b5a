#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <functional>

namespace corvane {

// Cuts bytes that come in pieces of any size into lines. A line ends at CR LF, LF or CR and nowhere else; the
// empty line between two ends counts as one.
class LineReader {
public:
    // Receives a line without its end, valid during the call. Returns false to get no more lines.
    using Sink = std::function<bool(QByteArrayView line)>;

    // `maxBytes` limits the length of one line.
    LineReader(qsizetype maxBytes, Sink sink);

    // Passes on the lines that end in `bytes`; a CR ends its line at once, whatever follows.
    void feed(QByteArrayView bytes);
    // Ends the input. The rest counts as a line if it is not empty.
    void finish();
    // Returns whether a line was too long. It was dropped, together with everything after it.
    bool isOverlong() const { return m_isOverlong; }
    // Returns whether the sink wants no more lines or a line was too long.
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

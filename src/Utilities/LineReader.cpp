#include "Utilities/LineReader.h"

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

bool endsLine(char byte) {
    return byte == '\n' || byte == '\r';
}

} // namespace

LineReader::LineReader(qsizetype maxBytes, Sink sink)
    : m_maxBytes(maxBytes)
    , m_sink(std::move(sink)) {}

void LineReader::feed(QByteArrayView bytes) {
    while (!bytes.isEmpty() && !m_isClosed) {
        if (std::exchange(m_afterReturn, false) && bytes.front() == '\n') {
            bytes = bytes.sliced(1);
            continue;
        }
        const auto* const end = std::find_if(bytes.begin(), bytes.end(), endsLine);
        const bool ends = end != bytes.end();
        const auto size = end - bytes.begin();
        m_afterReturn = ends && *end == '\r';
        take(bytes.first(size), ends);
        bytes = bytes.sliced(size + (ends ? 1 : 0));
    }
}

void LineReader::take(QByteArrayView part, bool ends) {
    if (m_begun.size() + part.size() > m_maxBytes) {
        m_isOverlong = m_isClosed = true;
        m_begun.clear();
        return;
    }
    if (!ends) {
        m_begun.append(part);
    } else if (m_begun.isEmpty()) {
        m_isClosed = !m_sink(part);
    } else {
        m_begun.append(part);
        const auto line = std::exchange(m_begun, {});
        m_isClosed = !m_sink(line);
    }
}

void LineReader::finish() {
    if (!m_begun.isEmpty() && !m_isClosed) {
        take({}, true);
    }
}

} // namespace corvane

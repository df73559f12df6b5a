#include "Views/Shared/IncrementalMarkdown.h"

#include <algorithm>

namespace corvane {

std::optional<qsizetype> IncrementalMarkdown::update(QStringView source, qsizetype unchanged) {
    if (unchanged < m_settled.source) {
        m_settled = {};
    }
    if (unchanged < m_next.source) {
        m_next = m_settled;
    }
    auto parts = parseMarkdownParts(source.sliced(m_next.source));
    if (parts.closable & m_next.open) {
        m_next = m_settled;
        parts = parseMarkdownParts(source.sliced(m_next.source));
    }
    const auto base = m_next;
    const auto changed = replaceTail(base.text, std::move(parts.whole));
    m_next = {base.source + parts.cut.source, base.text + parts.cut.text, base.open | parts.cut.open};
    if (!m_next.open) {
        m_settled = m_next;
    }
    return changed;
}

std::optional<qsizetype> IncrementalMarkdown::replaceTail(qsizetype at, AttributedString tail) {
    for (auto& run : tail.runs) {
        run.start += at;
    }
    const auto shown = QStringView(m_shown.text).sliced(at);
    auto same = at + (std::ranges::mismatch(shown, tail.text).in1 - shown.begin());

    auto first = std::ranges::lower_bound(m_shown.runs, at, {}, &InlineRun::start);
    const auto [old, fresh] =
        std::ranges::mismatch(first, m_shown.runs.end(), tail.runs.begin(), tail.runs.end());
    const bool hasOld = old != m_shown.runs.end();
    const bool hasFresh = fresh != tail.runs.end();
    if (hasOld && hasFresh && old->start == fresh->start && old->looksLike(*fresh)) {
        same = std::min(same, std::min(old->end(), fresh->end()));
    } else {
        same = std::min(same, hasOld ? old->start : same);
        same = std::min(same, hasFresh ? fresh->start : same);
    }

    const bool changed = same < m_shown.text.size() || same < at + tail.text.size();
    m_shown.runs.erase(first, m_shown.runs.end());
    m_shown.runs += tail.runs;
    m_shown.text.truncate(same);
    m_shown.text += QStringView(tail.text).sliced(same - at);
    return changed ? std::optional(same) : std::nullopt;
}

} // namespace corvane

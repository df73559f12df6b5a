#pragma once

#include "Views/Shared/InlineMarkdown.h"

#include <optional>

namespace corvane {

// Inline markdown of a text that grows. Parses the part that later text can still change, and no more, as
// long as nothing long ago was left open that new text could close.
class IncrementalMarkdown {
public:
    // Takes the whole source, of which the first `unchanged` characters are as before. Returns from where on
    // what is shown has changed; nothing when all of it is the same.
    std::optional<qsizetype> update(QStringView source, qsizetype unchanged);

    const InlineText& shown() const { return m_shown; }

private:
    std::optional<qsizetype> replaceTail(qsizetype at, InlineText tail);

    MarkdownCut m_settled; // nothing before it is open: no later text can change it
    MarkdownCut m_next;    // where parsing goes on; what is open before it may still be closed
    InlineText m_shown;
};

} // namespace corvane

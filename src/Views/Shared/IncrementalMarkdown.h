#pragma once

#include "Views/Shared/InlineMarkdown.h"

#include <optional>

namespace corvane {

// Parses the inline markdown of a growing text. It parses only the part that later text can still change, as
// long as new text cannot close something that was opened long before.
class IncrementalMarkdown {
public:
    // Takes the whole source, whose first `unchanged` characters are the same as before. Returns the position
    // from which the attributed content has changed, or nullopt when it has not.
    std::optional<qsizetype> update(QStringView source, qsizetype unchanged);

    const AttributedString& attributedContent() const { return m_shown; }

private:
    std::optional<qsizetype> replaceTail(qsizetype at, AttributedString tail);

    MarkdownCut m_settled; // nothing is open before it, so later text cannot change what precedes it
    MarkdownCut m_next;    // where parsing continues; later text may still close what is open before it
    AttributedString m_shown;
};

} // namespace corvane

#pragma once

#include <QString>

namespace corvane {

// Returns the plain text of release notes in HTML, with a line for each block and a bullet for each list
// entry. Nothing in it is drawn, fetched or run, and nesting is ignored: the text is read once from start to
// end.
QString plainReleaseNotes(const QString& html);

} // namespace corvane

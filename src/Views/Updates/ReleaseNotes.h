#pragma once

#include <QString>

namespace corvane {

// The words of notes that are written in HTML, a line for each block and a bullet for each entry of a list.
// Nothing in it is drawn, fetched or run, and its nesting means nothing: it is read once from start to end.
QString plainReleaseNotes(const QString& html);

} // namespace corvane

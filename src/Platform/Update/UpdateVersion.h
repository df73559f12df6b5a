#pragma once

#include <QStringView>

#include <compare>

namespace platform {

// The order of versions in a feed. A version is a row of components, runs of digits or of letters; all else
// only separates them. Numbers go by value, letters by the alphabet whatever their case, and letters come
// before any number, so that 1.0-beta and 1.0b3 are older than 1.0. What is missing counts as 0: 1.0 is
// 1.0.0.
std::strong_ordering compareVersions(QStringView left, QStringView right);

} // namespace platform

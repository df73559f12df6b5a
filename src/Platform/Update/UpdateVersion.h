#pragma once

#include <QStringView>

#include <compare>

namespace platform {

// Versions of Debian packages, [epoch:]upstream[-revision]: what dpkg calls newer is newer.

// Returns whether a text has that form and at most 64 characters.
bool isVersion(QStringView text);

// Compares any texts in the order of `dpkg --compare-versions`.
std::strong_ordering compareVersions(QStringView left, QStringView right);

// Returns the version without its epoch and the packager's revision.
QStringView upstreamVersion(QStringView version);

} // namespace platform

#pragma once

#include <QStringView>

#include <compare>

namespace platform {

// Versions of Debian packages, [epoch:]upstream[-revision]: what dpkg calls newer is newer.

// Whether a text has that form, and no more than 64 characters.
bool isVersion(QStringView text);

// The order that `dpkg --compare-versions` has, of any texts.
std::strong_ordering compareVersions(QStringView left, QStringView right);

// Without the epoch and the packager's revision.
QStringView upstreamVersion(QStringView version);

} // namespace platform

#include "Platform/Update/UpdateVersion.h"

#include <algorithm>

namespace platform {

namespace {

constexpr qsizetype longestVersion = 64;
constexpr qsizetype longestEpoch = 9; // digits, so that it fits into an int

bool isDigit(QChar character) {
    return character >= u'0' && character <= u'9';
}

bool isLetter(QChar character) {
    return (character >= u'a' && character <= u'z') || (character >= u'A' && character <= u'Z');
}

QStringView epochOf(QStringView version) {
    return version.first(std::max<qsizetype>(version.indexOf(u':'), 0));
}

QStringView withoutEpoch(QStringView version) {
    return version.sliced(version.indexOf(u':') + 1);
}

QStringView revisionOf(QStringView version) {
    const auto dash = withoutEpoch(version).lastIndexOf(u'-');
    return dash < 0 ? QStringView() : withoutEpoch(version).sliced(dash + 1);
}

// A tilde sorts before the end, and the end before everything else; letters sort before other characters.
int weightAt(QStringView text, qsizetype at) {
    if (at >= text.size() || isDigit(text[at])) {
        return 0;
    }
    const auto character = text[at];
    return character == u'~' ? -1 : character.unicode() + (isLetter(character) ? 0 : 0x10000);
}

// Removes the digits at the start and returns them without leading zeros.
QStringView takeNumber(QStringView& text) {
    const auto end = std::ranges::find_if_not(text, isDigit) - text.begin();
    auto number = text.first(end);
    text = text.sliced(end);
    return number.sliced(std::ranges::find_if_not(number, [](QChar c) { return c == u'0'; }) -
                         number.begin());
}

// Compares numbers of any length: a date with a time does not fit into an integer.
std::strong_ordering compareNumbers(QStringView left, QStringView right) {
    return left.size() != right.size() ? left.size() <=> right.size() : left.compare(right) <=> 0;
}

// Compares alternating runs of other characters and of digits.
std::strong_ordering comparePart(QStringView left, QStringView right) {
    while (!left.isEmpty() || !right.isEmpty()) {
        qsizetype at = 0;
        const auto isText = [&at](QStringView text) { return at < text.size() && !isDigit(text[at]); };
        for (; isText(left) || isText(right); ++at) {
            const auto order = weightAt(left, at) <=> weightAt(right, at);
            if (order != 0) {
                return order;
            }
        }
        left = left.sliced(std::min(at, left.size()));
        right = right.sliced(std::min(at, right.size()));
        const auto leftNumber = takeNumber(left);
        const auto order = compareNumbers(leftNumber, takeNumber(right));
        if (order != 0) {
            return order;
        }
    }
    return std::strong_ordering::equal;
}

} // namespace

bool isVersion(QStringView text) {
    const auto epoch = epochOf(text);
    const auto rest = withoutEpoch(text);
    const bool fits = text.size() <= longestVersion &&
                      text.indexOf(u':') == (epoch.isEmpty() ? -1 : epoch.size()) &&
                      epoch.size() <= longestEpoch && std::ranges::all_of(epoch, isDigit);
    return fits && !upstreamVersion(text).isEmpty() && isDigit(rest.front()) && !rest.endsWith(u'-') &&
           std::ranges::all_of(
               rest, [](QChar c) { return isDigit(c) || isLetter(c) || QStringView(u".+~-").contains(c); });
}

std::strong_ordering compareVersions(QStringView left, QStringView right) {
    for (const auto part : {epochOf, upstreamVersion, revisionOf}) {
        const auto order = comparePart(part(left), part(right));
        if (order != 0) {
            return order;
        }
    }
    return std::strong_ordering::equal;
}

QStringView upstreamVersion(QStringView version) {
    const auto rest = withoutEpoch(version);
    return rest.first(rest.contains(u'-') ? rest.lastIndexOf(u'-') : rest.size());
}

} // namespace platform

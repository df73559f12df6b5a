#include "Platform/Update/UpdateVersion.h"

#include <QList>

#include <algorithm>

namespace platform {

namespace {

enum class Kind { digits, letters, separator };

Kind kindOf(QChar character) {
    if (character >= u'0' && character <= u'9') {
        return Kind::digits;
    }
    return character.isLetterOrNumber() ? Kind::letters : Kind::separator;
}

bool isNumber(QStringView component) {
    return kindOf(component.front()) == Kind::digits;
}

QList<QStringView> componentsOf(QStringView version) {
    QList<QStringView> components;
    for (qsizetype start = 0; start < version.size();) {
        const auto kind = kindOf(version[start]);
        auto end = start + 1;
        while (end < version.size() && kindOf(version[end]) == kind) {
            ++end;
        }
        if (kind != Kind::separator) {
            components.append(version.sliced(start, end - start));
        }
        start = end;
    }
    return components;
}

// The release's own numbers, before any letters, are as many on both sides.
void padRelease(QList<QStringView>& components, qsizetype count) {
    const auto release = std::ranges::find_if_not(components, isNumber) - components.begin();
    components.insert(release, std::max<qsizetype>(count - release, 0), u"0");
}

// Of any length: a date with a time does not fit into a machine's number.
std::strong_ordering compareNumbers(QStringView left, QStringView right) {
    const auto significant = [](QStringView digits) {
        return digits.sliced(std::ranges::find_if(digits, [](QChar c) { return c != u'0'; }) -
                             digits.begin());
    };
    const auto a = significant(left);
    const auto b = significant(right);
    return a.size() != b.size() ? a.size() <=> b.size() : a.compare(b) <=> 0;
}

std::strong_ordering compareComponents(QStringView left, QStringView right) {
    if (isNumber(left) != isNumber(right)) {
        return isNumber(left) <=> isNumber(right);
    }
    return isNumber(left) ? compareNumbers(left, right) : left.compare(right, Qt::CaseInsensitive) <=> 0;
}

} // namespace

std::strong_ordering compareVersions(QStringView left, QStringView right) {
    auto a = componentsOf(left);
    auto b = componentsOf(right);
    const auto longest = std::max(a.size(), b.size());
    padRelease(a, longest);
    padRelease(b, longest);
    for (qsizetype i = 0; i < std::max(a.size(), b.size()); ++i) {
        const auto order = compareComponents(a.value(i, u"0"), b.value(i, u"0"));
        if (order != 0) {
            return order;
        }
    }
    return std::strong_ordering::equal;
}

} // namespace platform

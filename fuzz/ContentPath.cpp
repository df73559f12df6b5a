#include "fuzz/Fuzzing.h"

#include "Services/CustomProviderService.h"
#include "Utilities/Json.h"

using namespace corvane;

namespace {

// Returns whether the document contains this string.
bool holds(const boost::json::value& value, const QString& text) {
    if (const auto* string = value.if_string()) {
        return json::toQString(*string) == text;
    }
    if (const auto* array = value.if_array()) {
        return std::ranges::any_of(*array, [&](const auto& element) { return holds(element, text); });
    }
    const auto* object = value.if_object();
    return object &&
           std::ranges::any_of(*object, [&](const auto& member) { return holds(member.value(), text); });
}

} // namespace

// The input is a path, and after it a document.
void fuzz(const QByteArray& input) {
    const TwoParts parts(input);
    const auto path = QString::fromUtf8(parts.first);
    boost::json::value document;
    try {
        document = json::parse(parts.rest);
    } catch (const json::DecodingError&) {
        return;
    }
    const auto* object = document.if_object();
    if (!object) {
        return;
    }
    const auto found = CustomProviderService::extractContent(*object, path);
    ALWAYS(!found || holds(document, *found));
    // Empty parts of a path are ignored.
    auto doubled = path;
    doubled.replace(u'.', QStringLiteral(".."));
    ALWAYS(CustomProviderService::extractContent(*object, u'.' + doubled + u'.') == found);
    // Each member must be found by its own name.
    for (const auto& [key, value] : *object) {
        const auto name = json::toQString(key);
        if (value.is_string() && !name.isEmpty() && !name.contains(u'.')) {
            ALWAYS(CustomProviderService::extractContent(*object, name) ==
                   json::toQString(value.get_string()));
        }
    }
}

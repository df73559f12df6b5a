#include "Platform/Storage/DefaultsText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include <array>
#include <cmath>

namespace platform::defaultstext {

namespace {

constexpr QLatin1StringView encodedStart("@base64(");
constexpr QLatin1StringView encodedEnd(")");

// The words that people write.
struct BooleanWord {
    const char* text;
    bool value;
};
constexpr std::array booleanWords{
    BooleanWord{"true", true},   BooleanWord{"yes", true}, BooleanWord{"on", true},   BooleanWord{"1", true},
    BooleanWord{"false", false}, BooleanWord{"no", false}, BooleanWord{"off", false}, BooleanWord{"0", false},
};

bool isEncoded(const QString& text) {
    return text.startsWith(encodedStart) && text.endsWith(encodedEnd);
}

// Returns whether the character would not survive on the one line of a value.
bool breaksLine(QChar character) {
    return character < u' ' && character != u'\t';
}

// Returns whether the text is a JSON object or array. One that was written by hand may span several lines.
bool isDocument(const QString& text) {
    return (text.startsWith(u'{') || text.startsWith(u'[')) &&
           !QJsonDocument::fromJson(text.toUtf8()).isNull();
}

bool isQuoted(const QString& text) {
    return text.size() >= 2 && text.startsWith(u'"') && text.endsWith(u'"');
}

// Writes a JSON string: quoted and escaped, without line breaks.
QString quote(const QString& value) {
    const auto array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString unquote(const QString& text) {
    const auto document = QJsonDocument::fromJson('[' + text.toUtf8() + ']');
    const auto values = document.array();
    // People often put quotes around a text without escaping its own quotes and backslashes.
    return values.size() == 1 && values.at(0).isString() ? values.at(0).toString()
                                                         : text.mid(1, text.size() - 2);
}

} // namespace

QString fromString(const QString& value) {
    const bool plain = value == value.trimmed() && !isQuoted(value) &&
                       std::ranges::none_of(value, breaksLine) && toString(value);
    return plain ? value : quote(value);
}

QString fromBoolean(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString fromInteger(qint64 value) {
    return QString::number(value);
}

QString fromReal(double value) {
    const auto text = QString::number(value, 'g', QLocale::FloatingPointShortest);
    return toInteger(text) ? text + QStringLiteral(".0") : text;
}

QString fromData(const QByteArray& value) {
    const auto text = QString::fromUtf8(value);
    return text.toUtf8() == value && isDocument(text) && std::ranges::none_of(text, breaksLine)
               ? text
               : encodedStart + QString::fromLatin1(value.toBase64()) + encodedEnd;
}

std::optional<QString> toString(const QString& text) {
    if (isQuoted(text)) {
        return unquote(text);
    }
    // "no" and "on" may also be texts, so only true and false count as booleans here.
    const bool isTruth = text.compare(fromBoolean(true), Qt::CaseInsensitive) == 0 ||
                         text.compare(fromBoolean(false), Qt::CaseInsensitive) == 0;
    const bool otherKind = isEncoded(text) || isDocument(text) || isTruth || toReal(text);
    return otherKind ? std::nullopt : std::optional(text);
}

std::optional<bool> toBoolean(const QString& text) {
    const auto word = std::ranges::find_if(booleanWords, [&text](const BooleanWord& candidate) {
        return text.compare(QLatin1String(candidate.text), Qt::CaseInsensitive) == 0;
    });
    return word == booleanWords.end() ? std::nullopt : std::optional(word->value);
}

std::optional<qint64> toInteger(const QString& text) {
    bool valid = false;
    const auto value = text.toLongLong(&valid);
    return valid ? std::optional(value) : std::nullopt;
}

std::optional<double> toReal(const QString& text) {
    bool valid = false;
    const auto value = text.toDouble(&valid);
    return valid && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::optional<QByteArray> toData(const QString& text) {
    if (isEncoded(text)) {
        const auto encoded = QStringView(text).sliced(encodedStart.size()).chopped(encodedEnd.size());
        const auto decoded =
            QByteArray::fromBase64Encoding(encoded.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        return decoded ? std::optional(*decoded) : std::nullopt;
    }
    return isDocument(text) ? std::optional(text.toUtf8()) : std::nullopt;
}

} // namespace platform::defaultstext

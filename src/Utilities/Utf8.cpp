#include "Utilities/Utf8.h"

#include <QStringConverter>

namespace corvane {

namespace utf8 {

namespace {

constexpr auto strict = QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom;

} // namespace

std::optional<QString> decode(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, strict);
    QString text = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(std::move(text));
}

std::optional<QByteArray> encode(const QString& text) {
    QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
    QByteArray bytes = encoder(text);
    return encoder.hasError() ? std::nullopt : std::optional(std::move(bytes));
}

} // namespace utf8

} // namespace corvane

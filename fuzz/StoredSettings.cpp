#include "fuzz/Fuzzing.h"

#include "Models/AudioModels.h"
#include "Models/ProviderModels.h"
#include "Models/SettingsModels.h"
#include "Models/ShortcutModels.h"
#include "Platform/Storage/DefaultsText.h"

using namespace corvane;

namespace text = platform::defaultstext;

namespace {

template<typename Record>
void checkRoundTrip(const boost::json::value& document) {
    try {
        const auto record = Record::fromJson(document);
        ALWAYS(Record::fromJson(json::parse(json::serialize(record.toJson()))) == record);
    } catch (const json::DecodingError&) {
        // No other exception is allowed.
    }
}

// Checks records that are only read: reading twice gives the same result.
template<typename Record>
void checkReading(const boost::json::value& document) {
    try {
        ALWAYS(Record::fromJson(document) == Record::fromJson(document));
    } catch (const json::DecodingError&) {
        // No other exception is allowed.
    }
}

void checkRecords(const QByteArray& input) {
    try {
        const auto document = json::parse(input);
        checkRoundTrip<CustomizableState>(document);
        checkRoundTrip<ScreenshotConfig>(document);
        checkRoundTrip<ResponseSettings>(document);
        checkRoundTrip<SelectedAudioDevices>(document);
        checkRoundTrip<VadConfig>(document);
        checkRoundTrip<ShortcutsConfig>(document);
        checkReading<CustomAIProvider>(document);
        checkReading<CustomSTTProvider>(document);
        checkReading<SelectedProvider>(document);
    } catch (const json::DecodingError&) {
        // The input is not a document.
    }
}

// Checks how any value is written in the file.
void checkText(const QByteArray& input) {
    ALWAYS(text::toData(text::fromData(input)) == input);
    const auto value = QString::fromUtf8(input);
    const auto line = text::fromString(value);
    ALWAYS(text::toString(line) == value);
    ALWAYS(!line.contains(u'\n') && !line.contains(u'\r') && line == line.trimmed());
    ALWAYS(!text::toInteger(line) && !text::toReal(line) && !text::toData(line));
    // A value has one type, except that 0, no and off also mean false.
    const bool isWord = text::toBoolean(value) && value.compare(u"true", Qt::CaseInsensitive) != 0 &&
                        value.compare(u"false", Qt::CaseInsensitive) != 0;
    ALWAYS(!text::toBoolean(line) || (isWord && line == value));
    const int kinds = text::toString(value).has_value() + (text::toBoolean(value) && !isWord) +
                      text::toReal(value).has_value() + text::toData(value).has_value();
    ALWAYS(kinds <= 1);
    if (const auto real = text::toReal(value)) {
        ALWAYS(text::toReal(text::fromReal(*real)) == real);
    }
}

} // namespace

void fuzz(const QByteArray& input) {
    checkRecords(input);
    checkText(input);
}

#include "fuzz/Fuzzing.h"

#include "Models/ClerkModels.h"

using namespace corvane;

namespace {

// A record that can be read must survive a round trip through its own JSON.
template<typename Record>
void check(const boost::json::value& document) {
    try {
        const auto record = Record::fromJson(document);
        ALWAYS(Record::fromJson(json::parse(json::serialize(record.toJson()))) == record);
    } catch (const json::DecodingError&) {
        // No other exception is allowed.
    }
}

template<typename... Records>
void checkEach(const boost::json::value& document) {
    (check<Records>(document), ...);
}

} // namespace

void fuzz(const QByteArray& input) {
    boost::json::value document;
    try {
        document = json::parse(input);
    } catch (const json::DecodingError&) {
        return;
    }
    checkEach<ClerkEmailAddress, ClerkSupportedFirstFactor, ClerkSignIn, ClerkSession, ClerkClientResource,
              ClerkTokenResponse, ClerkAPIError, ClerkEnvelope<ClerkSignIn>, ClerkEnvelope<ClerkSession>,
              ClerkEnvelope<ClerkClientResource>>(document);
}

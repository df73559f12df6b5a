#include "fuzz/Fuzzing.h"

#include "App/DeepLink.h"
#include "Views/Overlay/InterviewId.h"

#include <QUrl>

using namespace corvane;

void fuzz(const QByteArray& input) {
    const auto text = QString::fromUtf8(input);
    if (const auto id = interviewIdFromLink(text)) {
        ALWAYS(!id->isEmpty() && !id->contains(u'/'));
        ALWAYS(text.startsWith(u"corvane://"));
    }
    // A plain word must survive a round trip through a link.
    const auto encoded = QString::fromLatin1(QUrl::toPercentEncoding(text));
    const auto word = interviewIdFromLink(QStringLiteral("corvane://interview/") + encoded);
    if (interviewId::isValid(text) && text == text.trimmed()) {
        ALWAYS(word == text);
    }
    if (const auto id = interviewId::extractUUID(text)) {
        ALWAYS(interviewId::isValid(*id) && text.contains(*id));
        ALWAYS(!interviewId::extractUUID(*id));
    }
}

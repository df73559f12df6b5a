#include "fuzz/Fuzzing.h"

#include "Views/Shared/IncrementalMarkdown.h"

#include <QGuiApplication>

using namespace corvane;

namespace {

// Entities are looked up in a text document, which needs an application.
void needApplication() {
    static int count = 0;
    static const bool isSet = qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(count, nullptr);
    ALWAYS(isSet);
}

} // namespace

// The first line of the input determines how the rest is cut into pieces.
void fuzz(const QByteArray& input) {
    needApplication();
    const TwoParts parts(input);
    const auto text = QString::fromUtf8(parts.rest);
    const auto whole = markdownAttributed(text);
    qsizetype end = 0;
    for (const auto& run : whole.runs) {
        ALWAYS(run.start >= end && run.length > 0);
        end = run.end();
    }
    ALWAYS(end <= whole.text.size());

    IncrementalMarkdown markdown;
    QString source;
    QString followed; // updated by the reported changes
    inPieces(text, parts.first, [&](const QString& piece) {
        const auto unchanged = source.size();
        source += piece;
        if (const auto from = markdown.update(source, unchanged)) {
            ALWAYS(*from <= followed.size() && *from <= markdown.attributedContent().text.size());
            followed = followed.left(*from) + markdown.attributedContent().text.mid(*from);
        }
    });
    ALWAYS(followed == markdown.attributedContent().text);
    ALWAYS(markdown.attributedContent() == whole || text.isEmpty());
}

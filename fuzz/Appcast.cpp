#include "Platform/Update/Appcast.h"
#include "fuzz/Fuzzing.h"

#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"

using platform::compareVersions;

void fuzz(const QByteArray& input) {
    QList<platform::AppcastItem> items;
    try {
        items = platform::readAppcast(input);
    } catch (const platform::UpdateError& error) {
        ALWAYS(error.code() == platform::UpdateError::unreadableFeed);
        ALWAYS(!error.localizedDescription().isEmpty());
        return;
    }
    platform::UpdateHost host{QStringLiteral("7"), QStringLiteral("1.2"), QStringLiteral("6.1.0")};
    const auto best = platform::bestUpdate(items, host);
    if (!best) {
        return;
    }
    // Never back, and never in a circle: who has the best of a feed is offered nothing more by it.
    ALWAYS(compareVersions(best->versionString, host.versionString) > 0);
    ALWAYS(compareVersions(best->displayVersionString, host.displayVersionString) > 0);
    ALWAYS(best->itemDescription.size() <= platform::appcast::longestNotes);
    host.versionString = best->versionString;
    ALWAYS(!platform::bestUpdate(items, host));
}

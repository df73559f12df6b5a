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
    // An update never leads back to an older version, and a feed offers nothing more once its best version is
    // installed.
    ALWAYS(compareVersions(best->versionString, host.versionString) > 0);
    ALWAYS(compareVersions(best->displayVersionString, host.displayVersionString) > 0);
    ALWAYS(best->itemDescription.size() <= platform::appcast::longestNotes);
    host.versionString = best->versionString;
    ALWAYS(!platform::bestUpdate(items, host));
}

#pragma once

#include "Platform/Network/HttpClient.h"
#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateError.h"

namespace platform {

class SPUUpdater;

// Observes the updates of a program. Called on the main thread from within the updater: implementations
// should only queue work.
class SPUUpdaterDelegate {
public:
    // Returns the address of the feed.
    virtual QString feedURLString(const SPUUpdater& updater) const = 0;
    virtual void updaterWillCheckForUpdates(const SPUUpdater& updater) = 0;
    virtual void updaterDidNotFindUpdate(const SPUUpdater& updater) = 0;
    virtual void updaterDidFindValidUpdate(const SPUUpdater& updater, const AppcastItem& item) = 0;
    virtual void updaterWillDownloadUpdate(const SPUUpdater& updater, const AppcastItem& item,
                                           const HttpRequest& request) = 0;
    virtual void updaterDidDownloadUpdate(const SPUUpdater& updater, const AppcastItem& item) = 0;
    virtual void updaterDidAbortWithError(const SPUUpdater& updater, const UpdateError& error) = 0;

protected:
    ~SPUUpdaterDelegate() = default;
};

} // namespace platform

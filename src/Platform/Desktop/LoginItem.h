#pragma once

#include <QString>

#include <memory>

namespace platform {

// Starts the program when the user logs in.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    // Both throw std::runtime_error with the reason. They may be called in any state.
    virtual void registerItem() = 0;
    virtual void unregisterItem() = 0;
};

// Manages an XDG autostart entry, <folder>/<applicationId>.desktop, that starts `executable`. `folder` is
// usually the user's autostart folder.
std::unique_ptr<LoginItem> makeAutostartEntry(const QString& folder, const QString& applicationId,
                                              const QString& name, const QString& executable);

} // namespace platform

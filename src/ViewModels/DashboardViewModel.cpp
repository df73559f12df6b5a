#include "ViewModels/DashboardViewModel.h"

namespace corvane {

QString rawValue(DashboardPage page) {
    constexpr std::array names{"Dashboard", "Account", "Settings", "Audio", "Shortcuts"};
    return QLatin1String(names[static_cast<size_t>(page)]);
}

} // namespace corvane

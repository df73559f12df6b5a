#include "Platform/Update/SPUStandardUserDriver.h"

namespace platform {

void SPUStandardUserDriver::show(Sight sight) {
    const bool isSame = sight.stage == m_sight.stage && sight.text == m_sight.text &&
                        sight.item.versionString == m_sight.item.versionString;
    m_sight = std::move(sight);
    if (!isSame) {
        m_progress = 0;
        Q_EMIT stageChanged();
    }
}

void SPUStandardUserDriver::showProgress(double share) {
    m_progress = share;
    Q_EMIT progressChanged();
}

} // namespace platform

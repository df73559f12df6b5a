#include "Platform/Update/SPUStandardUserDriver.h"

namespace platform {

void SPUStandardUserDriver::show(ViewState viewState) {
    const bool isSame = viewState.stage == m_viewState.stage && viewState.text == m_viewState.text &&
                        viewState.item.versionString == m_viewState.item.versionString;
    m_viewState = std::move(viewState);
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

#include "Platform/Update/SPUStandardUserDriver.h"

namespace platform {

void SPUStandardUserDriver::show(Stage stage, const QString& text) {
    m_stage = stage;
    m_text = text;
    m_progress = 0;
    Q_EMIT stageChanged();
}

void SPUStandardUserDriver::showFound(const AppcastItem& item, bool unasked) {
    m_item = item;
    m_unasked = unasked;
    show(Stage::found);
}

void SPUStandardUserDriver::showProgress(double share) {
    m_progress = share;
    Q_EMIT progressChanged();
}

void SPUStandardUserDriver::dismiss() {
    const auto stage = m_stage;
    show(Stage::hidden);
    Q_EMIT dismissed(stage);
}

} // namespace platform

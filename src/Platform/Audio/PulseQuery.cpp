#include "Platform/Audio/PulseQuery.h"

namespace platform {

PulseQuery::~PulseQuery() {
    shutDown();
}

void PulseQuery::cancel() {
    shutDown();
    const auto result = m_result;
    result.fail(OperationCancelled());
}

void PulseQuery::connected() {
    m_reader.read(m_connection.context(), [this](const std::optional<PulseInventory>& inventory) {
        if (inventory) {
            toMain([this, inventory = *inventory] { finish(inventory); });
        } else {
            fail({AudioError::Kind::failed, QStringLiteral("The sound server does not list its devices.")});
        }
    });
}

void PulseQuery::release() {
    m_reader.cancel();
}

void PulseQuery::failed(const AudioError& error) {
    const auto result = m_result;
    result.fail(error);
}

void PulseQuery::finish(const PulseInventory& inventory) {
    stopTimeout();
    const auto result = m_result;
    result.resolve(inventory);
}

} // namespace platform

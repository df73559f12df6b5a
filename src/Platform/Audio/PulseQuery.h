#pragma once

#include "Platform/Audio/PulseInventory.h"
#include "Platform/Audio/PulseSession.h"
#include "Platform/Core/Completion.h"

namespace platform {

// Reads the server's devices once.
class PulseQuery final : public PulseSession {
public:
    using PulseSession::PulseSession;
    ~PulseQuery() override;

    const Completion<PulseInventory>& result() const { return m_result; }
    void cancel() override;

private:
    void connected() override;
    void release() override;
    void failed(const AudioError& error) override;
    void finish(const PulseInventory& inventory);

    PulseInventoryReader m_reader;
    Completion<PulseInventory> m_result;
};

} // namespace platform

#include "RKCore/RKBasisSettings.h"

#include <atomic>

namespace {

std::atomic<bool> masterMode{false};

} // namespace

bool RKBasisSettings::runsInMasterMode()
{
    return masterMode.load();
}

void RKBasisSettings::setRunsInMasterMode(bool on)
{
    masterMode.store(on);
}

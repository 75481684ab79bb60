#pragma once

#include "RKCore/RKCoreExport.h"

/// Process-wide switches of the host. Thread-safe.
class RKCORE_EXPORT RKBasisSettings
{
public:
    /// True when the host runs as a master installation; false unless it was set.
    static bool runsInMasterMode();

    /// Takes effect at once, on all threads. The library itself never reads it.
    static void setRunsInMasterMode(bool on);
};

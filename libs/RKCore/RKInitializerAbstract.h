#pragma once

#include "RKCore/RKCoreExport.h"

/// The kind of program that is starting. Initialisers may skip what that kind does not need.
enum class RKInitializerOption
{
    Application,
    CommandLine,
    Test
};

/// Setup and teardown of one library, run by RKInitializer.
class RKCORE_EXPORT RKInitializerAbstract
{
public:
    RKInitializerAbstract() = default;
    virtual ~RKInitializerAbstract();

    RKInitializerAbstract(const RKInitializerAbstract&) = delete;
    RKInitializerAbstract& operator=(const RKInitializerAbstract&) = delete;

    /// Called by the host's start sequence, on the main thread, once per RKInitializer::setup().
    virtual void setup(RKInitializerOption option) = 0;

    /// Called by the host's end sequence, on the main thread.
    virtual void teardown() = 0;
};

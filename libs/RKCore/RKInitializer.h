#pragma once

#include "RKCore/RKCoreExport.h"
#include "RKCore/RKInitializerAbstract.h"
#include "RKCore/RKSingleton.h"

#include <QList>
#include <QMutex>

/// Sets up and tears down all libraries at the host's start and end.
///
/// A library registers one static RKInitializerAbstract when it is loaded; the host calls setup()
/// once at its start and teardown() at its end. Thread-safe.
class RKCORE_EXPORT RKInitializer : public RKSingleton<RKInitializer>
{
public:
    /// Adds an initialiser; null and one that is already there are ignored. The initialiser is not
    /// owned and has to stay alive until removeInitializer() or the end of the process.
    void registerInitializer(RKInitializerAbstract* initializer);

    /// Removes an initialiser; one that was never added is ignored.
    void removeInitializer(RKInitializerAbstract* initializer);

    /// Sets all libraries up, in the order of their registration.
    void setup(RKInitializerOption option);

    /// Tears all libraries down, last registered first.
    void teardown();

private:
    QList<RKInitializerAbstract*> registered() const;

    // Guards m_initializers; released before an initialiser is called.
    mutable QMutex m_mutex;
    QList<RKInitializerAbstract*> m_initializers;
};

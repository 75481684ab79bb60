#pragma once

#include "RKCore/RKCoreExport.h"

#include <QReadWriteLock>

#include <atomic>

/// Gives T one process-wide object, made on first use and never destroyed.
///
/// T derives from `RKSingleton<T>` and is exported with default visibility, as this template is:
/// a hidden one would give every shared library an object of its own. T's constructor stays public,
/// so that tests can make further objects.
///
/// Thread-safe. T's constructor and setupInstance() must not ask for T's own instance: the lock
/// that guards the creation is held while they run.
template <typename T>
class RKCORE_EXPORT RKSingleton
{
public:
    RKSingleton() = default;
    virtual ~RKSingleton() = default;

    RKSingleton(const RKSingleton&) = delete;
    RKSingleton& operator=(const RKSingleton&) = delete;

    /// The one object of the process. Never null.
    static T* instance()
    {
        if (T* const existing = s_instance.load(std::memory_order_acquire))
            return existing;

        const QWriteLocker locker(&s_creationLock);
        T* object = s_instance.load(std::memory_order_relaxed);
        if (!object) {
            object = new T;
            static_cast<RKSingleton<T>*>(object)->setupInstance();
            s_instance.store(object, std::memory_order_release);
        }
        return object;
    }

protected:
    /// Called once for the process-wide object, before any caller gets its pointer.
    virtual void setupInstance()
    {
    }

private:
    inline static std::atomic<T*> s_instance{nullptr};
    // Guards the creation only; no other lock of this library is taken before it.
    inline static QReadWriteLock s_creationLock;
};

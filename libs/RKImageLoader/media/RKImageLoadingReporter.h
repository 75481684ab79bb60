#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include "RKCore/RKSingleton.h"

#include <QObject>
#include <QReadWriteLock>

/// Signals to the host that a HEIC file could not be decoded, once until reset(). Thread-safe.
class RKIMAGELOADER_EXPORT RKImageLoadingReporter
    : public QObject
    , public RKSingleton<RKImageLoadingReporter>
{
    Q_OBJECT

public:
    RKImageLoadingReporter();
    ~RKImageLoadingReporter() override;

public Q_SLOTS:
    /// Logs every call; emits the signal for the first one since the start or the last reset().
    void reportHeicError();

    /// Lets the next failure be signalled again.
    void reset();

Q_SIGNALS:
    /// Emitted on the decoding thread while a lock is held: use a queued connection to do more than
    /// note it. A directly connected slot may call reset().
    void heicErrorReported();

private:
    // Guards m_isReported; recursive, for slots that call reset().
    QReadWriteLock m_lock{QReadWriteLock::Recursive};
    bool m_isReported = false;
};

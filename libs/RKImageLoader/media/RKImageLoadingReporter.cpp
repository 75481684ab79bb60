#include "RKImageLoader/media/RKImageLoadingReporter.h"

#include "RKCore/RKLogger.h"

RKImageLoadingReporter::RKImageLoadingReporter() = default;

RKImageLoadingReporter::~RKImageLoadingReporter() = default;

void RKImageLoadingReporter::reportHeicError()
{
    const QWriteLocker locker(&m_lock);
    RKLogger::legacyLog(QStringLiteral("STATISTICS ACTION:reportHeicError"), false);
    if (m_isReported)
        return;
    // Set before the signal, so that a reset() in a directly connected slot is not undone.
    m_isReported = true;
    Q_EMIT heicErrorReported();
}

void RKImageLoadingReporter::reset()
{
    const QWriteLocker locker(&m_lock);
    m_isReported = false;
}

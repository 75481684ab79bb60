#include "RKImageLoaderAsync/RKLoadDelivery_p.h"

RKLoadDelivery::RKLoadDelivery(int count)
    : m_count(count)
    , m_left(count)
{
    m_promise.start();
    m_promise.setProgressRange(0, count);
    if (count == 0)
        m_promise.finish();
}

QFuture<RKLoadResult> RKLoadDelivery::future() const
{
    return m_promise.future();
}

bool RKLoadDelivery::isCancelled() const
{
    return m_promise.isCanceled();
}

void RKLoadDelivery::deliver(int index, const RKLoadResult& result)
{
    // Nothing if the future is cancelled already.
    m_promise.addResult(result, index);
    if (result.error().code() == RKMediaErrorCode::Cancelled)
        m_hasCancelled = true;
    const int left = --m_left;
    m_promise.setProgressValue(m_count - left);
    if (left > 0)
        return;
    if (m_hasCancelled)
        m_promise.future().cancel();
    m_promise.finish();
}

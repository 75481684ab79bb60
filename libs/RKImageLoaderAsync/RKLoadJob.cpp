#include "RKImageLoaderAsync/RKLoadJob_p.h"

#include <QMutexLocker>

#include <algorithm>

RKLoadJob::RKLoadJob(const RKLoadRequest& request)
    : m_request(request)
{
}

const RKLoadRequest& RKLoadJob::request() const
{
    return m_request;
}

bool RKLoadJob::join(Waiter waiter)
{
    const QMutexLocker locker(&m_mutex);
    if (m_isUnwanted || m_isClosed)
        return false;
    waiter.isLate = m_isStarted;
    m_waiters.push_back(std::move(waiter));
    return true;
}

void RKLoadJob::start()
{
    const QMutexLocker locker(&m_mutex);
    m_isStarted = true;
}

bool RKLoadJob::isUnwanted() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_isUnwanted) {
        m_isUnwanted = std::all_of(m_waiters.begin(), m_waiters.end(), [](const Waiter& waiter) {
            return waiter.delivery->isCancelled();
        });
    }
    return m_isUnwanted;
}

void RKLoadJob::giveUp()
{
    const QMutexLocker locker(&m_mutex);
    m_isUnwanted = true;
}

std::vector<RKLoadJob::Waiter> RKLoadJob::close()
{
    const QMutexLocker locker(&m_mutex);
    m_isClosed = true;
    return std::move(m_waiters);
}

#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoaderAsync/RKLoadScheduler_p.h"

RKAsyncLoader::RKAsyncLoader()
    : RKAsyncLoader(RKMediaLoader::instance())
{
}

RKAsyncLoader::RKAsyncLoader(const RKMediaLoaderAbstract* loader)
    : m_scheduler(std::make_unique<RKLoadScheduler>(*loader))
{
}

RKAsyncLoader::~RKAsyncLoader() = default;

QFuture<RKLoadResult> RKAsyncLoader::load(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKLoadPriority priority)
{
    return m_scheduler->add({RKLoadRequest(descriptor, wanted, option)}, priority);
}

QFuture<RKLoadResult> RKAsyncLoader::thumbnails(
    const QList<RKMediaDescriptor>& descriptors, const QSize& wanted, RKLoadPriority priority)
{
    std::vector<RKLoadRequest> requests;
    requests.reserve(size_t(descriptors.size()));
    for (const RKMediaDescriptor& descriptor : descriptors)
        requests.emplace_back(descriptor, wanted, RKImageOption());
    return m_scheduler->add(requests, priority);
}

void RKAsyncLoader::setVisible(const QList<RKMediaDescriptor>& visible)
{
    m_scheduler->setVisible(visible);
}

void RKAsyncLoader::setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority)
{
    m_scheduler->setPriority(descriptor, priority);
}

void RKAsyncLoader::cancelAll()
{
    m_scheduler->cancelAll();
}

int RKAsyncLoader::threadCount() const
{
    return m_scheduler->threadCount();
}

void RKAsyncLoader::setThreadCount(int count)
{
    m_scheduler->setThreadCount(count);
}

qint64 RKAsyncLoader::maxBytesInFlight() const
{
    return m_scheduler->maxBytes();
}

void RKAsyncLoader::setMaxBytesInFlight(qint64 bytes)
{
    m_scheduler->setMaxBytes(bytes);
}

#include "RKImageLoader/faces/RKFaceRectEntry.h"

#include <tuple>

namespace {

auto sortKey(const RKFaceRectEntry& entry)
{
    const QRect rect = entry.faceRect();
    return std::make_tuple(entry.faceId().id(), rect.left(), rect.top());
}

} // namespace

RKFaceId RKFaceRectEntry::faceId() const
{
    return m_faceId;
}

void RKFaceRectEntry::setFaceId(const RKFaceId& faceId)
{
    m_faceId = faceId;
}

QRect RKFaceRectEntry::faceRect() const
{
    return m_faceRect;
}

void RKFaceRectEntry::setFaceRect(const QRect& faceRect)
{
    m_faceRect = faceRect;
}

RKClusterId RKFaceRectEntry::clusterId() const
{
    return m_clusterId;
}

void RKFaceRectEntry::setClusterId(const RKClusterId& clusterId)
{
    m_clusterId = clusterId;
}

QString RKFaceRectEntry::clusterName() const
{
    return m_clusterName;
}

void RKFaceRectEntry::setClusterName(const QString& clusterName)
{
    m_clusterName = clusterName;
}

bool RKFaceRectEntry::isValid() const
{
    return m_faceId.isValid() && m_faceRect.isValid();
}

bool RKFaceRectEntry::operator<(const RKFaceRectEntry& other) const
{
    return sortKey(*this) < sortKey(other);
}

#include "RKImageLoader/faces/RKFaceIds.h"

#include <QStringList>

#include <algorithm>

RKFaceIds::RKFaceIds(const QSet<RKFaceId>& ids)
    : QSet<RKFaceId>(ids)
{
}

RKFaceIds::~RKFaceIds() = default;

QString RKFaceIds::toString() const
{
    QList<RKFaceId> sorted = values();
    std::sort(sorted.begin(), sorted.end());
    QStringList texts;
    texts.reserve(sorted.size());
    for (const RKFaceId& id : sorted)
        texts.append(id.toString());
    return texts.join(QLatin1String(", "));
}

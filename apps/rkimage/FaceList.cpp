#include "FaceList.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QRectF>

namespace {

std::optional<RKFacePosition> faceOf(const QJsonValue& value)
{
    const QJsonArray numbers = value[u"rect"].toArray();
    if (numbers.size() != 4)
        return {};
    const QRectF rect(
        numbers[0].toDouble(), numbers[1].toDouble(), numbers[2].toDouble(), numbers[3].toDouble());
    RKFacePosition face(rect,
        faceDetectionEngineUnknown,
        RKFaceId(),
        RKClusterId(value[u"clusterId"].toInt(RKClusterId().id())),
        RKFacePosition::invalidCoverImageEpoch(),
        value[u"name"].toString(),
        RKFacePosition::invalidXmpRegionIndex());
    return face.isValid() ? std::optional(face) : std::nullopt;
}

} // namespace

std::optional<RKFacePositions> FaceList::fromJson(const QByteArray& json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isArray())
        return {};
    RKFacePositions faces;
    const QJsonArray values = document.array();
    for (const auto& value : values) {
        const std::optional<RKFacePosition> face = faceOf(value);
        if (!face)
            return {};
        faces.append(*face);
    }
    return faces;
}

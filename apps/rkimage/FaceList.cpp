#include "FaceList.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QRectF>

#include <algorithm>

namespace {

std::optional<RKFacePosition> faceOf(const QJsonValue& value)
{
    const QJsonArray numbers = value[u"rect"].toArray();
    const bool areNumbers = std::all_of(
        numbers.begin(), numbers.end(), [](const auto& number) { return number.isDouble(); });
    if (numbers.size() != 4 || !areNumbers)
        return {};
    const QRectF rect(
        numbers[0].toDouble(), numbers[1].toDouble(), numbers[2].toDouble(), numbers[3].toDouble());
    // A face may reach beyond the picture, but these are pixels.
    if (rect.width() > 1 || rect.height() > 1 || !QRectF(0, 0, 1, 1).contains(rect.center()))
        return {};
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

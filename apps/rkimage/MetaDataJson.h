#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QSize>

class RKFacePositions;
class RKMetaData;

/// Metadata and what belongs to them as JSON.
namespace MetaDataJson {

enum class Extent
{
    Named,
    /// Also the key "allData" with every datum as exiv2 names and prints it.
    All
};

/// [width, height].
QJsonArray fromSize(const QSize& size);

/// The metadata's values; texts that are empty are left out.
QJsonObject fromMetaData(const RKMetaData& metaData, Extent extent);

QJsonArray fromFaces(const RKFacePositions& faces);

} // namespace MetaDataJson

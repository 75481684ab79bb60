#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QRectF>
#include <QSize>

class RKGeoPosition;
class RKMetaData;

/// Metadata and what belongs to them as JSON.
namespace MetaDataJson {

enum class Extent
{
    Named,
    /// Also the keys "allData" and "interpretedData" with every datum under exiv2's names.
    All
};

/// [x, y, width, height].
QJsonArray fromRect(const QRectF& rect);

/// [width, height].
QJsonArray fromSize(const QSize& size);

/// The metadata's values; texts that are empty are left out. The size is that of the upright
/// picture.
QJsonObject fromMetaData(const RKMetaData& metaData, const QSize& uprightSize, Extent extent);

/// The size in which the picture is shown, by the metadata alone.
QSize uprightSize(const RKMetaData& metaData);

/// Latitude and longitude in degrees, or null.
QJsonValue fromPosition(const RKGeoPosition& position);

/// With their rectangles in the picture as stored, in parts of its sides, and in the upright
/// picture of that size, in pixels.
QJsonArray fromFaces(const RKMetaData& metaData, const QSize& uprightSize);

} // namespace MetaDataJson

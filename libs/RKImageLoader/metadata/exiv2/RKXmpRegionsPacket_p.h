#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"

#include <QDomDocument>
#include <QSize>

#include <string>

/// The face regions in the text of one XMP packet: the regions of the Metadata Working Group
/// (Guidelines for Handling Image Metadata 2.0, 5.9) with two properties of our own, the cluster of
/// a face and the time when it was chosen as a cover image.
///
/// Index of a region is its place among all regions, those of other things than faces included.
/// Failures are logged; nothing throws.
///
/// Reentrant.
class RKXmpRegionsPacket
{
    // Copies would share the document.
    Q_DISABLE_COPY_MOVE(RKXmpRegionsPacket)

public:
    RKXmpRegionsPacket() = default;

    /// Parses a packet, in place of the one before. An empty packet gives an empty document. False,
    /// and an empty document, for a packet that cannot be parsed; that is logged.
    bool parseXmpData(const std::string& packet);
    void clear();
    /// No packet, or an empty one, has been parsed.
    bool isNull() const;
    std::string serialized() const;

    RKFacePositions faces() const;
    /// The size in pixels of the image that the regions were made for. (-1, -1) where there is
    /// none, or none in pixels.
    QSize appliedToSize() const;
    /// All regions, also of other things than faces.
    int regionCount() const;

    /// Prepares a packet for mergeFaces(). False for a packet that cannot take the regions; that is
    /// logged.
    bool createRegionsIfMissing();
    /// Removes a property, such as "dc:source".
    void removeProperty(const QString& name);
    /// A face takes over the region that contains its centre, every other face becomes a new
    /// region. Other regions stay; but when they belong to another image size, all old face regions
    /// are removed.
    void mergeFaces(const QSize& imageSize, const RKFacePositions& newFaces);
    /// Removes the regions of faces; the others and the image size stay. False if there are none.
    bool removeFaces();

    /// The engine to report for a region with that cluster.
    static RKFaceDetectionEngineType detectionEngineType(const RKClusterId& clusterId);
    /// Left, top, width and height are below 1.0. Kept: negative ones are not looked for. See
    /// RKXmpRegionsTest::unitsDecideWhichAreasCount.
    static bool isRectNormalized(const QRectF& rect);

    /// Numbers in base 10; `ok` reports success, and the result is 0 otherwise.
    static int toInt(const QString& text, bool* ok = nullptr);
    static qint64 toInt64(const QString& text, bool* ok = nullptr);
    /// Only finite numbers count.
    static double toDouble(const QString& text, bool* ok = nullptr);
    /// -1 for a text that is no 32-bit integer.
    static RKClusterId toClusterId(const QString& text, bool* ok = nullptr);

    /// The name to write for a face: empty in the cluster of faces without a name.
    static QString faceName(const RKFacePosition& face);

private:
    QDomElement regionsElement() const;
    QDomElement bag() const;
    bool createRegions();
    void setAppliedToSize(const QSize& size);
    void updateRegions(const RKFacePositions& matched);
    void appendRegions(const RKFacePositions& newFaces);
    QDomElement bagForWriting();

    QDomDocument m_document;
};

#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegionsPacket_p.h"

class QFileInfo;
class RKExiv2XmpData;

/// Reads and writes the face regions of an image's XMP data, by way of their packet.
///
/// Failures are logged; nothing throws.
///
/// Reentrant.
class RKXmpRegions : public RKXmpRegionsPacket
{
public:
    /// Parses the packet of the data; otherwise as for a packet.
    bool parseXmpData(const RKExiv2XmpData& data);
    using RKXmpRegionsPacket::parseXmpData;

    /// The faces of the data's packet; for null those of the packet parsed before.
    RKFacePositions facePositionsByXMP(const RKExiv2XmpData* data);
    /// The size in pixels of the image that the regions were made for; likewise. (-1, -1) where
    /// there is none, or none in pixels.
    QSize appliedToImageSize(const RKExiv2XmpData* data);
    /// All regions of the packet, also of other things than faces.
    int numberOfRegions(const RKExiv2XmpData& data);

    /// Merges the faces into the packet, see mergeFaces().
    ///
    /// False, and nothing changed, for null data, a size with a negative side, no faces, or a
    /// packet that cannot be parsed or cannot take the regions.
    bool expandFaces(RKExiv2XmpData* data, const QSize& imageSize, const RKFacePositions& faces);

    /// Removes the regions of faces from the packet; the others and the image size stay. False, and
    /// nothing changed, for a packet that cannot be parsed.
    bool removeFaceRegions(RKExiv2XmpData* data);

    /// Removes the regions, all of them and their image size, from XMP data.
    static void stripRegions(Exiv2::XmpData& data);
    /// Whether the XMP data has regions.
    static bool containsXmpData(const Exiv2::XmpData& data);

    /// Writes the packet to a file of its own, replacing it as a whole or not at all. False when it
    /// cannot be written, which is logged.
    static bool writeXmpData(const RKExiv2XmpData& data, const QFileInfo& file);

private:
    bool parseOrKeep(const RKExiv2XmpData* data);
    bool storeInto(RKExiv2XmpData* data) const;
    bool createInitialXmpDataIfNeccessary();
    bool createInitialXmpData();
};

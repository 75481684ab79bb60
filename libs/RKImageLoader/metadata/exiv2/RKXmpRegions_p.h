#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QDomDocument>
#include <QSize>

#include <string>

class QFileInfo;
class RKExiv2XmpData;

/// Reads and writes the face regions of an image's XMP packet: the regions of the Metadata Working
/// Group (Guidelines for Handling Image Metadata 2.0, 5.9) with two properties of our own, the
/// cluster of a face and the time when it was chosen as a cover image.
///
/// Works on a packet's text. Index of a region is its place among all regions, those of other
/// things than faces included. Failures are logged; nothing throws.
///
/// Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKXmpRegions
{
    // Copies would share the document.
    Q_DISABLE_COPY_MOVE(RKXmpRegions)

public:
    RKXmpRegions() = default;

    /// Parses a packet, in place of the one before. An empty packet gives an empty document. False,
    /// and an empty document, for a packet that cannot be parsed; that is logged.
    bool parseXmpData(const RKExiv2XmpData& data);
    bool parseXmpData(const std::string& packet);

    /// The faces of the data's packet; for null those of the packet parsed before.
    RKFacePositions facePositionsByXMP(const RKExiv2XmpData* data);
    /// The size in pixels of the image that the regions were made for; likewise. (-1, -1) where
    /// there is none, or none in pixels.
    QSize appliedToImageSize(const RKExiv2XmpData* data);
    /// All regions of the packet, also of other things than faces.
    int numberOfRegions(const RKExiv2XmpData& data);

    /// Merges the faces into the packet: a face takes over the region that contains its centre,
    /// every other face becomes a new region. Other regions stay; but when they belong to another
    /// image size, all old face regions are removed.
    ///
    /// False, and nothing changed, for null data, a size with a negative side, no faces, or a
    /// packet that cannot be parsed or cannot take the regions.
    bool expandFaces(RKExiv2XmpData* data, const QSize& imageSize, const RKFacePositions& faces);

    /// Removes the regions of faces from the packet; the others and the image size stay. False, and
    /// nothing changed, for a packet that cannot be parsed.
    bool removeFaceRegions(RKExiv2XmpData* data);

    /// Removes the regions, all of them and their image size, from XMP data.
    static void stripRegions(Exiv2::XmpData& data);
    /// The XMP data have regions.
    static bool containsXmpData(const Exiv2::XmpData& data);

    /// Writes the packet to a file of its own, replacing it as a whole or not at all. False when it
    /// cannot be written, which is logged.
    static bool writeXmpData(const RKExiv2XmpData& data, const QFileInfo& file);

    /// The engine to report for a region with that cluster.
    static RKFaceDetectionEngineType detectionEngineType(const RKClusterId& clusterId);
    /// Left, top, width and height are below 1.0. Kept: negative ones are not looked for.
    static bool isRectNormalized(const QRectF& rect);

    /// Numbers in base 10; `ok` tells success, and without it the result is 0.
    static int toInt(const QString& text, bool* ok = nullptr);
    static qint64 toInt64(const QString& text, bool* ok = nullptr);
    /// Only finite numbers count.
    static double toDouble(const QString& text, bool* ok = nullptr);
    /// -1 for a text that is no 32-bit integer.
    static RKClusterId toClusterId(const QString& text, bool* ok = nullptr);

    /// The name to write for a face: empty in the cluster of faces without a name.
    static QString faceName(const RKFacePosition& face);

private:
    bool parseOrKeep(const RKExiv2XmpData* data);
    bool storeInto(RKExiv2XmpData* data) const;

    QDomElement regionsElement() const;
    QDomElement bag() const;
    QSize appliedToSize() const;
    RKFacePositions faces() const;

    bool createInitialXmpDataIfNeccessary();
    bool createInitialXmpData();
    bool createRegions();
    void setAppliedToSize(const QSize& size);
    bool removeFaces();
    void updateRegions(const RKFacePositions& matched);
    void appendRegions(const RKFacePositions& faces);
    QDomElement bagForWriting();

    QDomDocument m_document;
};

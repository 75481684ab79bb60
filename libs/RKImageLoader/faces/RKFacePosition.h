#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKClusterId.h"
#include "RKImageLoader/faces/RKFaceDetectionEngine.h"
#include "RKImageLoader/faces/RKFaceId.h"
#include "RKImageLoader/media/RKImageOrientation.h"

#include <QDomElement>
#include <QPoint>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QString>

/// The rectangle of one face in an image, who it is and what found it.
///
/// The rectangle is normalised: x and width are fractions of the image's width, y and height of its
/// height, from the top left. It is not checked, and may leave the image. Reentrant.
class RKIMAGELOADER_EXPORT RKFacePosition
{
public:
    /// An invalid position.
    RKFacePosition() = default;
    /// All fields as given. A host that has no catalogue of faces uses named().
    RKFacePosition(const QRectF& rect,
        RKFaceDetectionEngineType engine,
        const RKFaceId& faceId,
        const RKClusterId& clusterId,
        long long coverImageEpoch,
        const QString& name,
        int xmpRegionIndex);
    /// A face that a user has marked; all fields but the rectangle and the name are the defaults.
    static RKFacePosition named(const QRectF& rect, const QString& name);
    /// Reads what toXml() wrote. A missing or unreadable number counts as 0.0, an unknown engine as
    /// faceDetectionEngineUnknown.
    explicit RKFacePosition(const QDomElement& element);

    RKFacePosition(const RKFacePosition&) = default;
    RKFacePosition(RKFacePosition&&) noexcept = default;
    RKFacePosition& operator=(const RKFacePosition&) = default;
    RKFacePosition& operator=(RKFacePosition&&) noexcept = default;
    virtual ~RKFacePosition();

    /// The face in the host's catalogue; invalid if it comes from a file.
    RKFaceId faceId() const;
    /// Normalised. Faces from RKMetaData lie in the picture as stored, like the file's pixels;
    /// RKFacePositions::toUpright() turns them to what loaders show.
    QRectF rect() const;
    /// What found the face; unknown for regions of other programs.
    RKFaceDetectionEngineType engine() const;
    /// The person's cluster in the host's catalogue; RKMetaData stores it in the region.
    RKClusterId clusterId() const;
    /// The person's name; empty if unknown.
    QString name() const;

    /// The index of the face's region in the image's XMP; -1 without one.
    int xmpRegionIndex() const;
    /// Set by readers of regions; RKMetaData::updateFaces() finds the regions to change by the
    /// faces' centres instead.
    void setXmpRegionIndex(int index);
    /// Whether the face comes from a region, or belongs to one.
    bool isXmpRegionIndexValid() const;
    /// -1; every other number is valid.
    static int invalidXmpRegionIndex();

    /// When this face was chosen to stand for its cluster, in ms since 1970-01-01 UTC; -1 if never.
    long long coverImageEpoch() const;
    /// In ms since 1970-01-01 UTC; invalidCoverImageEpoch() withdraws the choice.
    void setCoverImageEpoch(long long epoch);
    /// Makes the face stand for its cluster from now on.
    void setCoverImageEpochToCurrentTime();
    /// Whether the face was chosen to stand for its cluster.
    bool isCoverImageEpochValid() const;
    /// Whether the time is not invalidCoverImageEpoch().
    static bool isCoverImageEpochValid(long long epoch);
    /// -1; every other number is valid.
    static long long invalidCoverImageEpoch();

    /// Whether width and height are greater than 0.
    bool isValid() const;

    /// The rectangle in pixels of an image of that size: left, top, width and height each cut
    /// towards 0, and limited to 500 million. It may be a pixel smaller than what
    /// RKFacePositions::normalizeRect() was given; hosts to which that matters round rect().
    QRect rectStretched(const QSize& size) const;
    /// The rectangle's centre in pixels, cut and limited in the same way.
    QPoint centerStretched(const QSize& size) const;
    /// The normalised centre of the rectangle.
    QPointF center() const;

    /// Width times height.
    static double area(const QRectF& rect);
    /// The share of the image that the rectangle covers.
    double coveredArea() const;
    /// Whether the rectangles share more than three quarters of the area of at least one of them.
    bool isSeriouslyOverlapping(const RKFacePosition& other) const;

    /// The position in the image after it was turned upright from that orientation. Everything but
    /// the rectangle is kept; orientations other than 2 to 8 change nothing.
    RKFacePosition rotated(RKImageOrientation orientation) const;

    /// All fields, for logs.
    QString toString() const;

    /// Writes engine and rectangle into the element, to six significant digits. The other fields
    /// are not stored.
    void toXml(QDomElement& parent) const;

    /// Whether all fields are equal; rectangles are compared as QRectF does.
    bool operator==(const RKFacePosition& other) const;
    bool operator!=(const RKFacePosition& other) const;

private:
    RKFaceId m_faceId;
    QRectF m_rect;
    RKFaceDetectionEngineType m_engine = faceDetectionEngineUnknown;
    RKClusterId m_clusterId;
    QString m_name;
    int m_xmpRegionIndex = invalidXmpRegionIndex();
    long long m_coverImageEpoch = invalidCoverImageEpoch();
};

/// The hash of the face's number alone: the positions of one face collide.
RKIMAGELOADER_EXPORT size_t qHash(const RKFacePosition& position, size_t seed = 0) noexcept;

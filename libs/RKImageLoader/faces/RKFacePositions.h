#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKFacePosition.h"
#include "RKImageLoader/faces/RKFaceRectEntry.h"

#include <QColor>
#include <QHash>
#include <QList>
#include <QSet>

class QImage;
class QPainter;

/// The faces of one image, and whether the image was surveyed for faces at all.
///
/// The order of insertion is kept, and duplicates are allowed. Sizes are those of the image in
/// pixels. Reentrant.
class RKIMAGELOADER_EXPORT RKFacePositions
{
public:
    /// No faces, not surveyed. Every other constructor makes a surveyed list.
    RKFacePositions() = default;
    /// Reads what toXml() wrote.
    explicit RKFacePositions(const QDomElement& element);
    /// A rectangle of guessedFaceSize() around each centre, cut to the image. Engine i found centre
    /// i; faces beyond the list of engines have an unknown one, here and below.
    RKFacePositions(const QSize& imageSize,
        const QList<QPoint>& centers,
        const QList<RKFaceDetectionEngineType>& engines);
    /// Rectangles in pixels, taken as they are.
    RKFacePositions(const QSize& imageSize,
        const QList<QRect>& rects,
        const QList<RKFaceDetectionEngineType>& engines);
    /// The same for one face.
    RKFacePositions(const QSize& imageSize, const QRect& rect, RKFaceDetectionEngineType engine);
    /// The faces of a catalogue, sorted by face, left and top; they are not checked.
    RKFacePositions(const QSize& imageSize,
        const QList<RKFaceRectEntry>& entries,
        RKFaceDetectionEngineType engine);

    RKFacePositions(const RKFacePositions&) = default;
    RKFacePositions(RKFacePositions&&) noexcept = default;
    RKFacePositions& operator=(const RKFacePositions&) = default;
    RKFacePositions& operator=(RKFacePositions&&) noexcept = default;
    virtual ~RKFacePositions();

    /// Adds a face; the list counts as surveyed from then on.
    void append(const RKFacePosition& position);
    /// Adds the other's faces; the list counts as surveyed if either did.
    void add(const RKFacePositions& other);

    /// Whether the image was surveyed. If so, an empty list means that it has no faces, otherwise
    /// that nobody has looked.
    /// @{
    void setSurveyComplete(bool complete);
    bool isSurveyComplete() const;
    /// @}
    /// The number of positions, invalid ones and duplicates included.
    qsizetype count() const;
    /// Whether there are no positions; says nothing about the survey.
    bool isEmpty() const;
    /// In the order in which they were added.
    QList<RKFacePosition> facePositions() const;

    /// Whether every position is valid; true for an empty list.
    bool isValid() const;

    /// A tenth of each side, cut to whole pixels.
    static QSize guessedFaceSize(const QSize& imageSize);
    /// Converts pixels to fractions of the size. The null rectangle for an empty size.
    static QRectF normalizeRect(const QRect& rect, const QSize& size);

    /// The faces in pixels, in order.
    QList<QRect> rects(const QSize& size) const;
    /// The same for an image that is displayed in that rectangle.
    QList<QRect> rects(const QRect& frame) const;
    /// The centres of the faces in pixels, in order; see RKFacePosition::centerStretched().
    QList<QPoint> centers(const QSize& size) const;
    /// The positions with rectangles in pixels of an image that is displayed in that rectangle.
    QList<RKFacePosition> positions(const QRect& frame) const;
    /// The same; the rectangle is rounded to whole pixels.
    QList<RKFacePosition> positions(const QRectF& frame) const;

    /// The share of the image that the faces cover, 0 to 1 at most. Overlaps count twice.
    double percentCoverdByFaces() const;
    /// One of the rectangles with the largest area in pixels; null for an empty list.
    QRect biggestRect(const QSize& size) const;
    /// The rectangle around all faces in pixels; null for an empty list.
    QRect unitedRect(const QSize& size) const;

    /// The engine of each position, in order.
    QList<RKFaceDetectionEngineType> faceDetectionEngineTypes() const;
    /// The positions that the engine found.
    RKFacePositions forEngine(RKFaceDetectionEngineType engine) const;

    /// Every position turned upright, see RKFacePosition::rotated().
    RKFacePositions rotated(const RKImageOrientation& orientation) const;

    /// The faces of a stored picture as they lie in the upright one: from those of RKMetaData to
    /// those of a loader's picture. Unlike rotated(), right for the orientations 5 and 7, too.
    RKFacePositions toUpright(RKImageOrientation orientation) const;
    /// The faces of an upright picture as they lie in the stored one: for
    /// RKMetaData::updateFaces().
    RKFacePositions toStored(RKImageOrientation orientation) const;

    /// The region indices of the positions that have a valid one.
    QSet<int> xmpRegionIndices() const;
    /// The first position with that region index, or an invalid one.
    RKFacePosition facePositionForXmpRegionIndex(int index) const;
    /// The region index of the first position that contains the centre of p, edges included, and
    /// whose region is not excluded; -1 if there is none.
    int bestMatch(const RKFacePosition& p, const QSet<int>& excluded) const;
    /// Maps each face of the HP engine to the matching one of these faces, which come from XMP
    /// regions, or to an invalid position; each region goes to the first face that it matches.
    /// Matched keys carry the region's index.
    QHash<RKFacePosition, RKFacePosition> mapFacePositionsHPtoXMP(const RKFacePositions& hp) const;

    /// Sets the time for the first position of the face; does nothing for an invalid face.
    void setCoverImageEpochToCurrentTime(const RKFaceId& faceId);

    /// Whether both lists are equally long and each position here overlaps one of the other's.
    bool isSeriouslyOverlapping(const RKFacePositions& other) const;
    /// Whether any position overlaps the given one; see RKFacePosition::isSeriouslyOverlapping().
    bool anySeriouslyOverlapping(const RKFacePosition& position) const;

    /// Draws the faces into the image, for diagnosis. Does nothing for a null pointer.
    void renderInto(QImage* image) const;
    /// Draws the outline of a rectangle, in the painter's coordinates and the engine's colour.
    static void paintOneFaceRect(
        QPainter* painter, const QRect& rect, RKFaceDetectionEngineType engine);
    /// The colour that stands for the engine in diagnostic pictures.
    static QColor faceRectColor(RKFaceDetectionEngineType engine);

    /// All fields, for logs.
    QString toString() const;
    /// Adds a child "facePosition" to the element for each position. Whether the image was surveyed
    /// is not stored.
    void toXml(QDomElement& parent) const;

    bool operator==(const RKFacePositions& other) const;
    bool operator!=(const RKFacePositions& other) const;

private:
    void appendFound(const QSize& imageSize, const QRect& rect, RKFaceDetectionEngineType engine);

    bool m_surveyComplete = false;
    QList<RKFacePosition> m_positions;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/RKCaptureSettings.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QByteArray>
#include <QDateTime>
#include <QExplicitlySharedDataPointer>
#include <QHash>
#include <QImage>
#include <QMap>
#include <QMutex>
#include <QSharedDataPointer>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVariant>

class QBuffer;
class QFileInfo;
class RKFacePositions;
class RKMetaDataField;
class RKMetaDataImpl;

/// The metadata of one image: of a file, of an image in memory, or made from fields.
///
/// Cheap to copy; a copy shares the data until either is changed. Nothing throws. Getters return an
/// empty or default value for what the image does not hold; setters never report an error, only
/// save() does. Changes of the file after the construction are not seen.
///
/// Thread-safe: one object may be read, changed, copied and assigned to on several threads at once.
/// Only construction, destruction and moves from an object must not overlap with other uses of it.
/// An object that was moved from may only be destroyed or assigned to.
class RKIMAGELOADER_EXPORT RKMetaData
{
public:
    /// No metadata, size (-1, -1).
    RKMetaData();

    /// Reads a file. One that cannot be read gives empty metadata; that is logged, unless the file
    /// is not an image of a known type.
    explicit RKMetaData(const QFileInfo& file);
    /// The same with the reason, also for a file of an unknown type; null stores nothing. A file
    /// without metadata is not an error.
    RKMetaData(const QFileInfo& file, RKMediaError* error);

    /// The same for a file whose bytes were read already; the file is not opened. Empty bytes give
    /// empty metadata.
    RKMetaData(const QFileInfo& file, const QByteArray& bytes);

    /// Takes values under the keywords of RKMetaDataField: free texts and the geographic position
    /// (two numbers in degrees; if only one is there, the other counts as 0). Empty values and all
    /// other keys are skipped.
    explicit RKMetaData(const QMap<QString, QVariant>& fields);

    RKMetaData(const RKMetaData& other);
    RKMetaData(RKMetaData&& other) noexcept;
    RKMetaData& operator=(const RKMetaData& other);
    RKMetaData& operator=(RKMetaData&& other) noexcept;
    virtual ~RKMetaData();

    /// Why the system kept the file from being read as a whole, lack of memory for instance; some
    /// metadata may be missing then, and save() fails. No error otherwise, even for a damaged file
    /// or one of an unknown type.
    RKMediaError readFailure() const;

    /// Removes the maker note, which only the camera's maker understands and which may depend on
    /// its place in the file: for a picture that was encoded anew. A later save() removes nothing
    /// from the file.
    void removeMakerNote();

    /// The size in pixels as stored, before the orientation is applied; (-1, -1) if unknown.
    QSize unrotatedSize() const;
    /// Replaces the held size; nothing is written to a file.
    void forceSetSize(const QSize& size);
    /// Adapts the metadata to other pixels than those it was read with, of a scaled picture for
    /// instance. Recorded sizes become the given one. The thumbnail, what a TIFF-based file says
    /// about how it stores its pixels, and tags of types that there are not, are dropped. The
    /// orientation, the profile and the faces are left to the caller.
    void adaptToPixels(const QSize& size);

    /// 1 to 8 (Exif 2.32, 4.6.4, tag 0x0112); 0 if none is recorded.
    RKImageOrientation imageOrientation() const;
    /// In Exif and XMP. Numbers other than 1 to 8 are stored as they are and mean upright.
    void setImageOrientation(RKImageOrientation orientation);
    /// Whether the orientation swaps width and height.
    bool imageIsTiltedByMetadata() const;
    /// Turns the displayed picture by 90 degrees through its orientation. Mirrored orientations (2,
    /// 4, 5, 7) are left as they are.
    void rotate(bool clockwise);

    /// What the clock showed when the picture was taken: with its offset from UTC if Exif has one,
    /// else in local time; invalid if unknown.
    QDateTime pictureTaken() const;
    /// Stores the date and time that the value shows, whatever the machine's time zone. Its offset
    /// from UTC is stored, too, unless the value is in local time.
    void setPictureTaken(const QDateTime& dateTime);
    /// Removes that date from Exif, XMP and IPTC, with its time, fractions of a second and offset,
    /// and from the file of a later save(), too. Dates of digitisation and of changes stay.
    void removePictureTaken();
    /// Moves the dates when the picture was taken and when it was digitised by so many seconds,
    /// negative ones back: each by itself, in each place of Exif, XMP and IPTC that has a time.
    /// Fractions of a second and offsets from UTC stay.
    void shiftDates(qint64 seconds);

    /// Where the picture was taken; invalid if unknown.
    RKGeoPosition geoPosition() const;
    /// An invalid position changes nothing.
    void setGeoPosition(const RKGeoPosition& position);
    /// Removes the position with all that belongs to it: altitude, direction and time in Exif, and
    /// the properties of XMP that say the same, inside structures as well; from the file of a later
    /// save(), too. Names of places and maker notes stay.
    void removeGeoPosition();

    /// The stars, 0 to 5, that photo applications share: the rating that a host should show.
    int adobeRating() const;
    /// Limited to 0 to 5.
    void setAdobeRating(int rating);
    /// Whether the picture was rejected, by a rating of -1 in XMP. adobeRating() is 0 then, or what
    /// another program has left in Exif. setAdobeRating() ends the rejection.
    /// @{
    bool isRejected() const;
    void setRejected();
    /// @}

    /// The host's own rating, 0 to 5, which other programs don't know.
    int tamoRating() const;
    /// Limited to 0 to 5.
    void setTamoRating(int rating);

    /// A host's own score of the picture by itself; 0 without one.
    /// @{
    int tamoStaticScore() const;
    void setTamoStaticScore(int score);
    /// @}

    /// A host's own score of the picture among others; 0 without one.
    /// @{
    int tamoDynamicScore() const;
    void setTamoDynamicScore(int score);
    /// @}

    /// Whether the host's rating says only that the picture has enough pixels or not.
    /// @{
    bool ratingForResolutionOnly() const;
    void setRatingForResolutionOnly(bool resolutionOnly);
    /// @}

    /// Whether the flash fired.
    bool flashUsed() const;
    /// Anything else that was known about the flash is lost.
    void setFlashUsed(bool used);

    /// Whether the host has corrected red eyes in the pixels.
    /// @{
    bool redEyeCorrectionUsed() const;
    void setRedEyeCorrectionUsed(bool used);
    /// @}

    /// Whether the host must not improve the picture by itself.
    /// @{
    bool aboProhibited() const;
    void setABOProhibited(bool prohibited);
    /// @}

    /// Who has prohibited that; empty if nobody is named.
    /// @{
    QString aboProhibitedBy() const;
    void setABOProhibitedBy(const QString& name);
    /// @}

    /// Whether the picture is a strip of frames that the host has made.
    /// @{
    bool isFilmStrip() const;
    void setIsFilmStrip(bool isFilmStrip);
    /// @}

    /// The picture's identifier in the host's online service; empty without one.
    QString myTalikoPhotoId() const;
    /// When the picture was exported there; invalid if never.
    QDateTime myTalikoExportDate() const;

    /// At least 1.0, even if nothing is recorded.
    double digitalZoomRatio() const;
    /// Stored in steps of 1/10000.
    void setDigitalZoomRatio(double ratio);

    /// A free text, trimmed; empty for fields of other kinds.
    QString read(RKMetaDataField field) const;
    /// Does nothing for fields that are not free text: rating, rotation, date and position have
    /// setters of their own. A text of keywords is split at its commas. An empty text removes the
    /// field. docs/metadata.md says where each field is stored.
    void write(RKMetaDataField field, const QString& value);

    /// The keywords, trimmed, each once.
    QStringList keywords() const;
    /// The same, followed by those that only other places in the file have: not all programs write
    /// the same place.
    QStringList keywordsOfAllPlaces() const;
    /// Replaces all keywords in all places; an empty list, or one of blanks, removes them. A
    /// keyword may hold commas.
    void setKeywords(const QStringList& keywords);

    /// Key to text of all Exif, XMP and IPTC data.
    QHash<QString, QString> allData() const;
    /// The same with the values of Exif as people read them, "1/60 s" or "Manual", and the number
    /// of bytes instead of long values that mean nothing to people. XMP texts in a single language
    /// come without its name, and properties that only hold others are left out.
    QHash<QString, QString> interpretedData() const;

    /// Camera, lens and exposure, from Exif or XMP; maker notes are used if the standard data is
    /// missing. Names of the place from XMP or IPTC.
    RKCaptureSettings captureSettings() const;

    /// Whether there is a colour profile, or the marker of Adobe RGB (1998).
    bool hasIccData() const;
    /// The embedded ICC profile; empty if there is none.
    QByteArray iccData() const;
    /// Replaces the profile and removes colour entries that would contradict it.
    void setIccData(const QByteArray& profile);
    /// Whether the colours are marked as Adobe RGB (1998) in Exif.
    bool isAdobeRGB() const;

    /// The embedded thumbnail without the black bars that cameras add to fill its format; null if
    /// there is none. Not turned by the orientation. The option has no effect.
    QImage thumbnail(const RKImageOption& option = RKImageOption()) const;
    /// The size of thumbnail() in pixels, which takes less time; (-1, -1) if there is none.
    QSize thumbnailSize() const;
    /// Embeds the image, as a JPEG. One that cannot be encoded is logged, and changes nothing.
    void setThumbnail(const QImage& image);
    /// Embeds the bytes of a JPEG; empty bytes change nothing.
    void writeThumbnail(const QByteArray& jpeg);
    /// Removes it, also from the file of a later save().
    void eraseThumbnail();

    /// The faces of the XMP regions if they are a complete survey, else those that the camera has
    /// recorded. Rectangles are normalised and lie in the picture as stored: turn them with
    /// RKFacePositions::toUpright() to show them on an upright one.
    RKFacePositions facePositions() const;
    /// The faces of the XMP regions.
    RKFacePositions regionFacePositions() const;
    /// The number of XMP regions, including those of other things than faces.
    int numberOfRegions() const;
    /// The size in pixels that the XMP regions refer to; (-1, -1) if there are none.
    QSize regionImageSize() const;
    /// Merges the faces, whose rectangles lie in the picture as stored, into the XMP regions. The
    /// size is unrotatedSize(); regions for an image of another size are dropped. Returns false and
    /// changes nothing for no faces, an invalid size or XMP that cannot be parsed.
    bool updateFaces(const QSize& imageSize, const RKFacePositions& faces);
    /// Removes all regions. False for XMP that cannot be parsed.
    bool removeFaceRegions();

    /// Repeats here what has changed between two other states of this picture's metadata. Exif,
    /// IPTC and XMP data that the second state has added or changed is taken over; data that only
    /// the first state has is removed. All else stays, the thumbnail and the profile in any case.
    /// Returns false and changes nothing if any of that data differs here from the first state, for
    /// instance because another program has changed it.
    ///
    /// Called with a file's metadata after a save as `from` and before it as `to`, this undoes the
    /// save, even if there was no metadata before.
    bool applyDifference(const RKMetaData& from, const RKMetaData& to);

    /// Merges the metadata into an image file. True if the file holds it now; otherwise the file is
    /// as it was. The cache is not informed, see RKMetaDataCache::invalidate().
    bool save(const QFileInfo& file) const;
    /// The same with the reason, or no error; null stores nothing.
    bool save(const QFileInfo& file, RKMediaError* error) const;
    /// Merges the metadata into the image in the buffer, which is closed afterwards. False for a
    /// null buffer.
    bool save(QBuffer* buffer) const;
    bool save(QBuffer* buffer, RKMediaError* error) const;

private:
    QExplicitlySharedDataPointer<const RKMetaDataImpl> snapshot() const;
    template <typename Change>
    auto change(const Change& apply);

    // Guards m_impl, and the object it points to while that is changed; taken before the locks of
    // the metadata itself.
    mutable QMutex m_mutex;
    QSharedDataPointer<RKMetaDataImpl> m_impl;
};

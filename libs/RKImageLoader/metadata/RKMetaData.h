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
/// Cheap to copy; a copy shares the data until one of both is changed. Nothing throws. Readers
/// return an empty or default value for what the image does not hold; writers of single data never
/// report an error, save() does. A change of the file after the construction is not seen.
///
/// Thread-safe: one object may be read, changed, copied and assigned to on several threads at once.
/// Only the construction, the destruction and moving from an object are the caller's to order. An
/// object that was moved from may only be destroyed or assigned to.
class RKIMAGELOADER_EXPORT RKMetaData
{
public:
    /// No metadata, size (-1, -1).
    RKMetaData();

    /// Reads a file. One that cannot be read gives empty metadata; that is logged, except for a
    /// file that is no image of a known type.
    explicit RKMetaData(const QFileInfo& file);
    /// The same with the reason, also for a file of an unknown type; null stores nothing. A file
    /// without metadata is no error.
    RKMetaData(const QFileInfo& file, RKMediaError* error);

    /// The same for a file whose bytes were read already; the file is not opened. Empty bytes give
    /// empty metadata.
    RKMetaData(const QFileInfo& file, const QByteArray& bytes);

    /// From values under the keywords of RKMetaDataField. Free texts and the geographic position
    /// (two numbers in degrees; one that is missing counts as 0) are taken, empty values and all
    /// other keys skipped.
    explicit RKMetaData(const QMap<QString, QVariant>& fields);

    RKMetaData(const RKMetaData& other);
    RKMetaData(RKMetaData&& other) noexcept;
    RKMetaData& operator=(const RKMetaData& other);
    RKMetaData& operator=(RKMetaData&& other) noexcept;
    virtual ~RKMetaData();

    /// Why the system did not let all of the file be read, for want of memory for instance; no
    /// error if it did, also for a damaged file or one of an unknown type. Otherwise something is
    /// missing here, and save() fails.
    RKMediaError readFailure() const;

    /// Removes what only the makers of cameras understand, whose places in a file mean something to
    /// them: for a picture that was encoded anew. Nothing is removed from the file of a later
    /// save().
    void removeMakerNote();

    /// The size in pixels as stored, before the orientation is applied; (-1, -1) when unknown.
    QSize unrotatedSize() const;
    /// Replaces the held size; nothing is written to a file.
    void forceSetSize(const QSize& size);
    /// Makes them the metadata of other pixels than the ones they were read with, a scaled picture
    /// for instance: recorded sizes become the given one; the thumbnail, and what a TIFF-based file
    /// has told of how it stores its own pixels, are dropped. The orientation, the profile and the
    /// faces are left to the caller.
    void adaptToPixels(const QSize& size);

    /// 1 to 8 (Exif 2.32, 4.6.4, tag 0x0112); 0 where none is recorded.
    RKImageOrientation imageOrientation() const;
    /// In Exif and XMP. Other numbers than 1 to 8 are stored as they are and mean upright.
    void setImageOrientation(RKImageOrientation orientation);
    /// The orientation swaps width and height.
    bool imageIsTiltedByMetadata() const;
    /// Turns the displayed picture by 90 degrees through its orientation. Mirrored orientations (2,
    /// 4, 5, 7) are left as they are.
    void rotate(bool clockwise);

    /// What the clock showed when the picture was taken: with its offset from UTC where Exif has
    /// one, else in local time; invalid when unknown.
    QDateTime pictureTaken() const;
    /// Stores the date and time that the value shows, in any time zone of the machine. The offset
    /// of a value that is not in local time is stored too; of a local one none is.
    void setPictureTaken(const QDateTime& dateTime);
    /// Removes that date from Exif, XMP and IPTC, with its time, fractions of a second and offset.
    /// From the file of a later save(), too. Dates of digitisation and of changes stay.
    void removePictureTaken();
    /// Moves the dates when the picture was taken and when it was digitised by so many seconds of
    /// the clock: each by itself, in each place of Exif, XMP and IPTC that has one with a time.
    /// Fractions of a second and offsets from UTC stay.
    void shiftDates(qint64 seconds);

    /// Invalid when unknown.
    RKGeoPosition geoPosition() const;
    /// An invalid position changes nothing.
    void setGeoPosition(const RKGeoPosition& position);
    /// Removes the position with all that belongs to it: altitude, direction and time of Exif, and
    /// the properties of XMP that say the same, those inside of places included. From the file of a
    /// later save(), too. Names of places and makers' notes stay.
    void removeGeoPosition();

    /// The stars, 0 to 5, that photo applications share: the rating that a host shows.
    int adobeRating() const;
    /// Limited to 0 to 5.
    void setAdobeRating(int rating);
    /// The picture was sorted out: a rating of -1 in XMP, which adobeRating() gives as 0. Any
    /// rating that is set takes it back.
    /// @{
    bool isRejected() const;
    void setRejected();
    /// @}

    /// A rating of the host's own, 0 to 5, which other programs don't know.
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

    /// The host's rating says no more than whether the picture has enough pixels.
    /// @{
    bool ratingForResolutionOnly() const;
    void setRatingForResolutionOnly(bool resolutionOnly);
    /// @}

    /// The flash fired.
    bool flashUsed() const;
    /// What else was known about the flash is lost.
    void setFlashUsed(bool used);

    /// The host has corrected red eyes in the pixels.
    /// @{
    bool redEyeCorrectionUsed() const;
    void setRedEyeCorrectionUsed(bool used);
    /// @}

    /// The host may not improve the picture by itself.
    /// @{
    bool aboProhibited() const;
    void setABOProhibited(bool prohibited);
    /// @}

    /// Who has prohibited that; empty if nobody is named.
    /// @{
    QString aboProhibitedBy() const;
    void setABOProhibitedBy(const QString& name);
    /// @}

    /// The picture is a strip of frames that the host has made.
    /// @{
    bool isFilmStrip() const;
    void setIsFilmStrip(bool isFilmStrip);
    /// @}

    /// The picture's identifier in the host's online service; empty without one.
    QString myTalikoPhotoId() const;
    /// Invalid when the picture was never exported.
    QDateTime myTalikoExportDate() const;

    /// At least 1.0, also where nothing is recorded.
    double digitalZoomRatio() const;
    /// Stored in steps of 1/10000.
    void setDigitalZoomRatio(double ratio);

    /// A free text, trimmed; empty for other fields.
    QString read(RKMetaDataField field) const;
    /// Does nothing for fields that are no free text: those for the rating, the rotation, the date
    /// and the position have setters of their own. A text of keywords is the list that its commas
    /// separate. docs/metadata.md says where each field is stored.
    void write(RKMetaDataField field, const QString& value);

    /// The keywords, trimmed, each once.
    QStringList keywords() const;
    /// The same, with those after them that only other places in the file have: programs differ in
    /// the one that they write.
    QStringList keywordsOfAllPlaces() const;
    /// Replaces all keywords in all places; no list, or one of blanks, removes them. A keyword may
    /// hold commas.
    void setKeywords(const QStringList& keywords);

    /// Key to text of all Exif, XMP and IPTC data.
    QHash<QString, QString> allData() const;
    /// The same with the values of Exif as people read them, "1/60 s" or "Manual", and the number
    /// of bytes instead of long ones that mean nothing to people. Texts of XMP in one language come
    /// without its name, and what only holds other properties is left out.
    QHash<QString, QString> interpretedData() const;

    /// Camera, lens and exposure, from Exif or XMP; makers' own data count where the standard's are
    /// missing. Names of the place from XMP or IPTC.
    RKCaptureSettings captureSettings() const;

    /// There is a colour profile, or the marker of Adobe RGB (1998).
    bool hasIccData() const;
    /// The embedded ICC profile; empty where there is none.
    QByteArray iccData() const;
    /// Replaces the profile and removes colour entries that would contradict it.
    void setIccData(const QByteArray& profile);
    /// The colours are marked as Adobe RGB (1998) in Exif.
    bool isAdobeRGB() const;

    /// The embedded thumbnail without the black bars that cameras add to fill its format; null
    /// where there is none. Not turned by the orientation. The option changes nothing.
    QImage thumbnail(const RKImageOption& option = RKImageOption()) const;
    /// The size of thumbnail() in pixels, which takes less time; (-1, -1) where there is none.
    QSize thumbnailSize() const;
    /// Embeds the image, as a JPEG. One that cannot be encoded is logged, and changes nothing.
    void setThumbnail(const QImage& image);
    /// Embeds the bytes of a JPEG.
    void writeThumbnail(const QByteArray& jpeg);
    /// From the file of a later save(), too.
    void eraseThumbnail();

    /// The faces of the XMP regions where they are a complete survey, else those that the camera
    /// has recorded. Rectangles are normalised and lie in the picture as stored: turn them with
    /// RKFacePositions::toUpright() to show them on an upright one.
    RKFacePositions facePositions() const;
    /// The faces of the XMP regions.
    RKFacePositions regionFacePositions() const;
    /// The number of XMP regions, those of other things than faces included.
    int numberOfRegions() const;
    /// The size in pixels that the XMP regions refer to; (-1, -1) where there are none.
    QSize regionImageSize() const;
    /// Merges the faces, with rectangles in the picture as stored, into the XMP regions; those of
    /// another image size than the given one, which is unrotatedSize(), are dropped. False, and
    /// nothing changed, for no faces, an invalid size or XMP that cannot be parsed.
    bool updateFaces(const QSize& imageSize, const RKFacePositions& faces);
    /// False for XMP that cannot be parsed.
    bool removeFaceRegions();

    /// Makes the difference between two other states of this picture's metadata here, too. Exif,
    /// IPTC and XMP data that only the second state has, or has otherwise, are taken over; those
    /// that only the first one has are removed. All else stays, the thumbnail and the profile in
    /// any case. False, and nothing changed, if somebody has changed one of these data here since
    /// the first state.
    ///
    /// Called with what a file had after a save and before it, this takes that save back, also
    /// where there was nothing before.
    bool applyDifference(const RKMetaData& from, const RKMetaData& to);

    /// Merges the metadata into an image file. True when the file holds them now; on false the file
    /// is as it was. The metadata cache is not told.
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

    // Guards m_impl, and the object behind it while that is changed; taken before the locks of the
    // metadata itself.
    mutable QMutex m_mutex;
    QSharedDataPointer<RKMetaDataImpl> m_impl;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/RKCaptureSettings.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QSharedDataPointer>
#include <QSize>
#include <QString>
#include <QStringList>

class QBuffer;
class QFileInfo;
class RKExiv2WrapperImpl;
class RKFacePositions;
class RKMetaDataField;

/// The metadata of one image file or of one image in memory: Exif, IPTC, XMP and the ICC profile.
///
/// The image is read once, by the constructor; later changes of the file are not seen. save() opens
/// its target anew and merges the held metadata into it: data of the target that are not held here
/// stay, except those that were removed here on purpose (thumbnail, face regions, colour entries).
///
/// RKMetaData forwards to this class and documents the operations: what they mean, and that they
/// return empty or default values and never throw. The comments here say where the data is kept.
///
/// Reentrant, and thread-safe as long as an object is only read and saved: readers of shared copies
/// may run in parallel with writers of other copies. An object that was moved from may only be
/// destroyed or assigned to.
class RKIMAGELOADER_EXPORT RKExiv2Wrapper
{
public:
    RKExiv2Wrapper();
    /// Reads the file at its absolute path.
    explicit RKExiv2Wrapper(const QFileInfo& file);

    /// Reads the file at a local path, which is used as it is: no URLs, no normalisation.
    explicit RKExiv2Wrapper(const QString& path);

    /// Reads an image file's bytes.
    explicit RKExiv2Wrapper(const QByteArray& data);
    /// Parses the bytes that the caller has read from the file.
    RKExiv2Wrapper(const QFileInfo& file, const QByteArray& data);

    /// Copies share the data until one of them is changed.
    RKExiv2Wrapper(const RKExiv2Wrapper& other);
    /// Takes over the other's data.
    RKExiv2Wrapper(RKExiv2Wrapper&& other) noexcept;
    /// Shares the other's data.
    RKExiv2Wrapper& operator=(const RKExiv2Wrapper& other);
    /// Takes over the other's data.
    RKExiv2Wrapper& operator=(RKExiv2Wrapper&& other) noexcept;
    virtual ~RKExiv2Wrapper();

    /// The first text that is not empty under the field's keys, in their order (see
    /// RKMetaDataField::exiv2Keys()), without charset and language markers, trimmed.
    virtual QString read(RKMetaDataField field) const;

    /// Writes the text under all of the field's keys, except the Windows keys "Exif.Image.XP...".
    /// Does nothing for a field without keys. Keywords are written as the list that the text's
    /// commas separate.
    virtual void write(RKMetaDataField field, const QString& value);

    /// The keywords of IPTC, else of XMP, else the Windows ones in Exif.
    QStringList keywords() const;
    /// The same, followed by those that only the other families have.
    QStringList keywordsOfAllPlaces() const;
    /// Sets the keywords in all three.
    void setKeywords(const QStringList& keywords);

    /// The Exif orientation; 0 if there is none. 1 for images in boxes (HEIC, AVIF): their
    /// rotation belongs to the container, and the decoder has applied it.
    RKImageOrientation imageOrientation() const;
    /// Sets the orientation in Exif and XMP.
    void setImageOrientation(RKImageOrientation orientation);

    /// Turns the orientation by a quarter in Exif and XMP.
    void rotate(bool clockwise);

    /// Whether the Exif orientation is one of 5 to 8.
    bool imageIsTiltedByMetadata() const;

    /// The size as read from the file, or as last set.
    QSize unrotatedSize() const;
    /// Sets the size in memory only.
    void forceSetSize(const QSize& size);
    /// See RKMetaData::adaptToPixels().
    void adaptToPixels(const QSize& size);
    /// See RKMetaData::removeMakerNote().
    void removeMakerNote();

    /// From Exif, else XMP, else IPTC.
    QDateTime pictureTaken() const;
    /// Writes date and time to Exif and IPTC.
    void setPictureTaken(const QDateTime& dateTime);
    /// Removes it from Exif, XMP and IPTC; see RKMetaData::removePictureTaken().
    void removePictureTaken();
    /// Moves those in Exif, XMP and IPTC; see RKMetaData::shiftDates().
    void shiftDates(qint64 seconds);

    /// In Exif.
    RKGeoPosition geoPosition() const;
    /// In Exif.
    void setGeoPosition(const RKGeoPosition& position);
    /// Removes it from Exif and XMP; see RKMetaData::removeGeoPosition().
    void removeGeoPosition();

    /// In Exif.
    /// @{
    double digitalZoomRatio() const;
    void setDigitalZoomRatio(double ratio);
    /// @}

    /// From XMP, else Exif.
    int adobeRating() const;
    /// Writes the rating and the percentage that belongs to it to XMP and Exif.
    void setAdobeRating(int rating);
    /// See RKMetaData::isRejected().
    /// @{
    bool isRejected() const;
    void setRejected();
    /// @}

    /// In the host's XMP namespace.
    /// @{
    int tamoRating() const;
    void setTamoRating(int rating);

    int tamoStaticScore() const;
    void setTamoStaticScore(int score);

    int tamoDynamicScore() const;
    void setTamoDynamicScore(int score);
    /// @}

    /// Bit 0 of the Exif value.
    bool flashUsed() const;
    /// Stores 1 or 0.
    void setFlashUsed(bool used);

    /// In the host's XMP namespace, as 1 or 0.
    /// @{
    bool redEyeCorrectionUsed() const;
    void setRedEyeCorrectionUsed(bool used);

    bool aboProhibited() const;
    void setABOProhibited(bool prohibited);
    /// @}

    /// In the host's XMP namespace.
    /// @{
    QString aboProhibitedBy() const;
    void setABOProhibitedBy(const QString& name);
    /// @}

    /// In the host's XMP namespace, as 1 or 0.
    /// @{
    bool ratingForResolutionOnly() const;
    void setRatingForResolutionOnly(bool resolutionOnly);
    /// @}

    /// True only for the stored text "1".
    bool isFilmStrip() const;
    /// Stores the text "1" or "0".
    void setIsFilmStrip(bool isFilmStrip);

    /// In the host's XMP namespace; can't be written.
    QString myTalikoPhotoId() const;
    /// The stored number is read as 32-bit milliseconds since 1970.
    QDateTime myTalikoExportDate() const;

    /// The ICC profile embedded in the image, or the one in Exif; empty if there is none.
    QByteArray iccData() const;
    /// Replaces the held profile and removes the colour entries of Exif that would contradict it,
    /// also from the target of a save. A profile that is not empty is written by save() if the
    /// format can hold one; an empty one leaves the target's profile alone.
    void setIccData(const QByteArray& profile);
    /// Whether there is a profile, or the Exif marker of Adobe RGB (1998).
    bool hasIccData() const;
    /// Whether Exif marks the colours as Adobe RGB (1998) (DCF 2.0, interoperability index "R03").
    bool isAdobeRGB() const;

    /// As it is in Exif, black bars included.
    QImage thumbnail() const;
    /// Gives the encoded thumbnail; returns false and gives no bytes if there is none.
    bool extractThumbnailData(QByteArray& data) const;
    /// Stores it in Exif; empty bytes change nothing.
    void writeThumbnail(const QByteArray& jpeg);
    /// Also erased from the target of a save.
    void eraseThumbnail();

    /// The faces of XMP, else those of the maker notes.
    RKFacePositions facePositions() const;
    /// The faces and regions of XMP.
    /// @{
    RKFacePositions regionFacePositions() const;
    QSize regionImageSize() const;
    int numberOfRegions() const;
    bool updateFaces(const QSize& imageSize, const RKFacePositions& faces);
    /// @}
    /// Also removed from the target of a save.
    bool removeFaceRegions();

    /// See RKMetaData::applyDifference().
    bool applyDifference(const RKExiv2Wrapper& from, const RKExiv2Wrapper& to);

    /// Writes the XMP packet to a file of its own, replacing it. False if it cannot be written.
    bool writeXmpData(const QFileInfo& file) const;

    /// Key to text of all Exif, then all XMP, then all IPTC data; later ones replace earlier ones
    /// of the same key.
    QHash<QString, QString> allData() const;
    /// The same with the values of Exif as exiv2 prints them for people.
    QHash<QString, QString> interpretedData() const;
    /// From Exif or XMP.
    RKCaptureSettings captureSettings() const;
    /// One line for each Exif and XMP datum, for the log.
    QStringList debugOutput() const;

    /// Merges the metadata into an image file. True if the file holds it now. Otherwise the file is
    /// as it was, since it is replaced as a whole or not at all; the failure is logged, unless the
    /// format can't hold any of the families.
    ///
    /// Symbolic links are followed; mode, owner and hard links of the file are kept. A read-only
    /// file is not changed. Also false, for any target, if there was a file to read and reading
    /// failed: not knowing its metadata is not the same as having none.
    bool save(const QFileInfo& file) const;

    /// Merges the metadata into the image in the buffer. The buffer is closed afterwards and holds
    /// the new image on success, the old one on failure. False for a null buffer.
    bool save(QBuffer* buffer) const;

    /// The same with the reason of a failure, or no error; null stores nothing.
    bool save(const QFileInfo& file, RKMediaError* error) const;
    bool save(QBuffer* buffer, RKMediaError* error) const;

    /// Why the image could not be read; no error if it could.
    RKMediaError readError() const;
    /// The same if the system failed, so that some metadata may be missing; else no error.
    RKMediaError readFailure() const;

    /// Prepares the underlying library, once per process. The constructors do so, too.
    static void initialize();

    /// The copyright of the underlying library, for an about box.
    static QString copyright();

private:
    QSharedDataPointer<RKExiv2WrapperImpl> m_impl;
};

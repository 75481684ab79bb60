#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QCoreApplication>
#include <QList>
#include <QLocale>
#include <QSize>
#include <QString>

class RKMediaDescriptor;
class RKMetaData;

/// What is known of a picture, a drawing or a video, as lines for an information panel.
/// Thread-safe.
///
/// Labels and texts are in the language that RKImageLoaderInitializer::installTranslation() has
/// installed. Without one they are English, except RKMediaFormat::description(), which is German.
/// Numbers are written as usual in the locale.
class RKIMAGELOADER_EXPORT RKMediaCard
{
    Q_DECLARE_TR_FUNCTIONS(RKMediaCard)

public:
    /// What a line is about; a host that has its own way to show something leaves that line out.
    enum class Item
    {
        /// The kind of file, and its size in bytes.
        File,
        /// Width and height in pixels, upright.
        Size,
        /// Length, frame rate, codec and bit rate.
        Video,
        /// As RKMetaData::pictureTaken(): "2021-07-04 12:30:05 +02:00".
        Taken,
        /// City, state and country.
        Place,
        /// Latitude and longitude in degrees, and the altitude in metres.
        Position,
        Camera,
        Lens,
        /// Time, f-number, sensitivity, exposure compensation, flash.
        Exposure,
        FocalLength,
        /// Stars, or that the picture was rejected.
        Rating,
        Title,
        Description,
        Comment,
        Keywords,
        /// Names of people, and how many faces are without one.
        Faces,
        Author,
        Copyright,
        /// The name of the colour profile.
        Colors,
        /// Width and height of the embedded thumbnail in pixels.
        Thumbnail,
        Software
    };

    /// One thing that is known.
    struct Line
    {
        /// label() has its name.
        Item item;
        /// Never empty. Texts from the file may have line breaks.
        QString text;
    };

    /// Lines that belong together; never empty.
    using Group = QList<Line>;

    /// The item's name for people, such as "Focal length".
    static QString label(Item item);

    /// All that is known of a file, which is measured and read if the library doesn't know it yet.
    /// Empty for a file that does not exist.
    ///
    /// A video stays open for later requests; see RKVideoDecoderRegistry::freeResource().
    static QList<Group> groups(const RKMediaDescriptor& descriptor, const QLocale& locale = {});
    /// The same with a size and metadata that the host already has, for a video those from
    /// RKVideoDecoderRegistry. The size is that of the upright medium; if it is invalid, its line
    /// is left out.
    static QList<Group> groups(const RKMediaDescriptor& descriptor,
        const QSize& size,
        const RKMetaData& metaData,
        const QLocale& locale = {});
};

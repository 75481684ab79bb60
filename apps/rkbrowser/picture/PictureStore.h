#pragma once

#include "MediaFile.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"
#include "picture/Histogram.h"

#include <QCache>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QRectF>
#include <QStringList>

#include <functional>

/// What is shown of a file.
struct Picture
{
    struct Face
    {
        /// In fractions of the upright picture.
        QRectF rect;
        QString name;
    };

    /// Null if it can't be loaded.
    QImage image;
    /// Why not, or why only a part of it.
    QString reason;

    /// @name Not known of thumbnails.
    /// @{
    /// In pixels, upright.
    QSize size;
    bool hasProfile = false;
    QList<Face> faces;
    Histogram histogram;
    /// @}
};

/// Which picture of a file is wanted.
struct PictureWish
{
    enum class Kind
    {
        Thumbnail,
        /// With all that is known of the picture.
        Described,
        /// In the colours of its profile.
        Unconverted
    };

    MediaFile file;
    Kind kind = Kind::Thumbnail;
    /// The size into which it is fitted; the full size if this isn't valid.
    QSize room = {};
    /// The frame of a video.
    int frame = -1;

    bool operator==(const PictureWish& other) const = default;
};

size_t qHash(const PictureWish& wish, size_t seed = 0);

/// Loads pictures in the background, and keeps those that were wanted last.
class PictureStore : public QObject
{
    Q_OBJECT

public:
    explicit PictureStore(RKAsyncLoader* loader);

    /// Loads what is missing, visible ones first, and cancels what nobody wants any longer. So
    /// many others are kept.
    void want(const QList<PictureWish>& visible, const QList<PictureWish>& nearby, int others = 0);
    /// Null until it is loaded.
    const Picture* find(const PictureWish& wish) const;

Q_SIGNALS:
    void loaded();

private:
    using Cancel = std::function<void()>;

    Cancel load(const PictureWish& wish, RKLoadPriority priority);

    RKAsyncLoader* const m_loader;
    QCache<PictureWish, Picture> m_kept;
    QHash<PictureWish, Cancel> m_loading;
};

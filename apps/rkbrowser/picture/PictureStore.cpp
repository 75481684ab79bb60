#include "picture/PictureStore.h"

#include "Background.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <algorithm>
#include <cmath>

namespace {

RKMediaDescriptor descriptorOf(const PictureWish& wish)
{
    return {QFileInfo(wish.file.path), RKVideoFrameIndex(wish.frame)};
}

/// The size that was measured, unless the metadata that say it are another picture's.
QSize sizeOf(const RKMediaDescriptor& file, const QImage& picture)
{
    constexpr double kMaxDeviation = 0.02;
    const QSize size = RKMediaLoader::instance()->size(file);
    if (size.isEmpty() || picture.isNull())
        return picture.size();
    const double ratio = static_cast<double>(size.width()) * picture.height()
        / (static_cast<double>(size.height()) * picture.width());
    const bool isThin = std::min(picture.width(), picture.height()) < 1 / kMaxDeviation;
    return isThin || std::abs(ratio - 1) < kMaxDeviation ? size : picture.size();
}

void describe(const RKMediaDescriptor& file, Picture* picture)
{
    const RKMediaFormat format = file.mediaFormat();
    picture->size = format.isVideo() ? picture->image.size() : sizeOf(file, picture->image);
    // Loaders make small pictures larger.
    if (format.isBitmap() && picture->size.width() < picture->image.width())
        picture->image = RKMediaLoader::instance()->bitmap(file, QSize());
    picture->histogram = Histogram(picture->image);
    if (!format.isBitmap() || !RKImageLoader::instance()->hasSupportedMediaFormat(file))
        return;
    RKMediaError error;
    const RKMetaData metaData(file.fileInfo(), &error);
    // Decoders of raw and Photoshop files use the profile themselves.
    picture->hasProfile = metaData.hasIccData() && !format.isRaw() && format != MEDIA_FORMAT_PSD;
    const RKImageOrientation turned
        = format.isRaw() ? ORIENTATION_TOP_LEFT : metaData.imageOrientation();
    const QList<RKFacePosition> faces = metaData.facePositions().toUpright(turned).facePositions();
    for (const RKFacePosition& face : faces)
        picture->faces << Picture::Face{face.rect(), face.name()};
}

/// Nothing of a drawing can be seen, for instance because the pictures in it were refused.
bool isBlank(const QImage& drawing)
{
    const QImage alpha = drawing.convertToFormat(QImage::Format_Alpha8);
    const auto isEmptyRow = [&alpha](int y) {
        const uchar* row = alpha.constScanLine(y);
        return std::all_of(row, row + alpha.width(), [](uchar value) { return value == 0; });
    };
    for (int y = 0; y < alpha.height(); ++y) {
        if (!isEmptyRow(y))
            return false;
    }
    return true;
}

/// For threads of the loader.
Picture pictureOf(const PictureWish& wish, const RKLoadResult& result)
{
    RKDrawable drawable = result.drawable();
    const bool isDrawing = drawable.isVector();
    drawable.optimizeForDrawing();
    Picture picture;
    picture.image = drawable.image();
    if (isDrawing && isBlank(picture.image))
        picture.image = {};
    picture.reason = result.error().text();
    if (picture.image.isNull() && picture.reason.isEmpty())
        picture.reason = PictureStore::tr("There is nothing to see.");
    if (wish.kind == PictureWish::Kind::Described)
        describe(result.descriptor(), &picture);
    return picture;
}

/// The steps of the loader without that of the colours.
Picture unconverted(const PictureWish& wish)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const RKMediaDescriptor file = descriptorOf(wish);
    const RKDrawable stored = loader.tryAllDecoders(loader.readBinaryFile(file.fileInfo()),
        file.fileFormatAsByteArray(),
        loader.swapSizeRatio(file, wish.room),
        file);
    Picture picture;
    picture.image = stored.isBitmap() ? loader.autoRotate(file, stored).image() : QImage();
    return picture;
}

} // namespace

size_t qHash(const PictureWish& wish, size_t seed)
{
    return qHashMulti(seed, wish.file.path, wish.file.version, int(wish.kind), wish.frame);
}

PictureStore::PictureStore(RKAsyncLoader* loader)
    : m_loader(loader)
{
}

void PictureStore::want(
    const QList<PictureWish>& visible, const QList<PictureWish>& nearby, int others)
{
    QHash<PictureWish, Cancel> unwanted = std::exchange(m_loading, {});
    const auto loadMissing = [&](const QList<PictureWish>& wishes, RKLoadPriority priority) {
        for (const PictureWish& wish : wishes) {
            if (m_kept.object(wish) || m_loading.contains(wish))
                continue;
            const Cancel cancel = unwanted.take(wish);
            m_loading[wish] = cancel ? cancel : load(wish, priority);
        }
    };
    loadMissing(visible, RKLoadPriority::Visible);
    loadMissing(nearby, RKLoadPriority::Nearby);
    // By now, those that are wanted are the newest.
    m_kept.setMaxCost(visible.size() + nearby.size() + others);
    for (const Cancel& cancel : std::as_const(unwanted))
        cancel();
    QList<RKMediaDescriptor> first;
    for (const PictureWish& wish : visible)
        first << descriptorOf(wish);
    if (!first.isEmpty())
        m_loader->setVisible(first);
}

const Picture* PictureStore::find(const PictureWish& wish) const
{
    return m_kept.object(wish);
}

PictureStore::Cancel PictureStore::load(const PictureWish& wish, RKLoadPriority priority)
{
    const auto take = [this, wish](const Picture& picture) {
        if (m_loading.remove(wish) == 0)
            return;
        m_kept.insert(wish, new Picture(picture));
        Q_EMIT loaded();
    };
    if (wish.kind == PictureWish::Kind::Unconverted) {
        whenDone(QtConcurrent::run(backgroundThreads(), unconverted, wish), this, take);
        return [] {};
    }
    QFuture<RKLoadResult> loading
        = m_loader->load(descriptorOf(wish), wish.room, RKImageOption(), priority);
    // On the loader's thread: drawings become pixels there.
    const auto made
        = loading.then([wish](const RKLoadResult& result) { return pictureOf(wish, result); });
    whenDone(made, this, take);
    // QFuture::cancel() of Qt 6.4 walks along what follows, which must still be there.
    return [loading, made]() mutable { loading.cancel(); };
}

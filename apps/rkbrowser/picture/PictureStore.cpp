#include "picture/PictureStore.h"

#include "BackgroundThreads.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "WhenDone.h"

#include <QtConcurrent>

#include <cmath>

namespace {

// Drawings have no pixels of their own; this is more than screens have.
constexpr QSize kDrawingSize(4000, 4000);

QImage imageOf(const RKLoadResult& result)
{
    RKDrawable drawable = result.drawable();
    drawable.optimizeForDrawing();
    return drawable.image();
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

/// For threads of the loader.
Picture pictureOf(const RKLoadResult& result)
{
    const RKMediaDescriptor file = result.descriptor();
    Picture picture;
    picture.screen = imageOf(result);
    picture.reason = result.error().text();
    picture.size = sizeOf(file, picture.screen);
    const bool isDrawing = file.mediaFormat().isSVG();
    // Loaders make small pictures larger.
    if (!isDrawing && picture.size.width() < picture.screen.width()) {
        picture.full = RKMediaLoader::instance()->bitmap(file, QSize());
        picture.screen = picture.full;
    }
    picture.histogram = Histogram(picture.screen);
    const RKImageLoader& loader = *RKImageLoader::instance();
    if (isDrawing || !loader.hasSupportedMediaFormat(file))
        return picture;

    RKMediaError error;
    const RKMetaData metaData(file.fileInfo(), &error);
    // Decoders of raw and Photoshop files use the profile themselves.
    const RKMediaFormat format = file.mediaFormat();
    picture.hasProfile = metaData.hasIccData() && !format.isRaw() && format != MEDIA_FORMAT_PSD;
    const RKImageOrientation turned
        = format.isRaw() ? ORIENTATION_TOP_LEFT : metaData.imageOrientation();
    const QList<RKFacePosition> faces = metaData.facePositions().toUpright(turned).facePositions();
    for (const RKFacePosition& face : faces)
        picture.faces << Picture::Face{face.rect(), face.name()};
    return picture;
}

/// The steps of the loader without that of the colours.
QImage loadUnconverted(const QString& filePath, const QSize& size)
{
    const RKImageLoader& loader = *RKImageLoader::instance();
    const RKMediaDescriptor file{QFileInfo(filePath)};
    const RKDrawable stored = loader.tryAllDecoders(loader.readBinaryFile(file.fileInfo()),
        file.fileFormatAsByteArray(),
        loader.swapSizeRatio(file, size),
        file);
    return stored.isBitmap() ? loader.autoRotate(file, stored).image() : QImage();
}

} // namespace

PictureStore::PictureStore(RKAsyncLoader* loader, QObject* parent)
    : QObject(parent)
    , m_loader(loader)
{
}

void PictureStore::want(const QString& shown, const QStringList& neighbours, const QSize& screen)
{
    m_screen = screen;
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        const bool isShown = entry.key() == shown;
        if (!isShown) {
            // Large, and soon loaded again.
            if (entry->isFullWanted && entry->picture.screen.size() != entry->picture.full.size()) {
                entry->picture.full = {};
                entry->isFullWanted = false;
            }
        }
        if (isShown || neighbours.contains(entry.key())) {
            ++entry;
            continue;
        }
        for (const CancelLoad& cancel : std::as_const(entry->loading))
            cancel();
        entry = m_entries.erase(entry);
    }
    if (!shown.isEmpty() && !m_entries.contains(shown))
        load(shown, RKLoadPriority::Visible);
    for (const QString& neighbour : neighbours) {
        if (!m_entries.contains(neighbour))
            load(neighbour, RKLoadPriority::Nearby);
    }
    if (!shown.isEmpty())
        m_loader->setPriority(RKMediaDescriptor(QFileInfo(shown)), RKLoadPriority::Visible);
}

void PictureStore::reload(const QString& filePath)
{
    if (m_entries.contains(filePath))
        load(filePath, RKLoadPriority::Visible);
}

const Picture* PictureStore::find(const QString& filePath) const
{
    const auto entry = m_entries.constFind(filePath);
    return entry != m_entries.constEnd() && entry->isLoaded ? &entry->picture : nullptr;
}

void PictureStore::wantFull(const QString& filePath)
{
    const auto found = m_entries.find(filePath);
    if (found == m_entries.end() || !found->isLoaded || found->isFullWanted)
        return;
    found->isFullWanted = true;
    const RKMediaDescriptor file{QFileInfo(filePath)};
    found->loading << followLoad(
        m_loader->load(file, file.mediaFormat().isSVG() ? kDrawingSize : QSize()),
        imageOf,
        this,
        [this, filePath, serial = found->serial](const QImage& image) {
            if (Entry* entry = this->entry(filePath, serial); entry && !image.isNull()) {
                entry->picture.full = image;
                Q_EMIT loaded(filePath);
            }
        });
}

void PictureStore::wantUnconverted(const QString& filePath)
{
    const auto found = m_entries.find(filePath);
    if (found == m_entries.end() || !found->isLoaded || found->isUnconvertedWanted
        || !found->picture.hasProfile)
        return;
    found->isUnconvertedWanted = true;
    const auto keep = [this, filePath, serial = found->serial](const QImage& image) {
        if (Entry* entry = this->entry(filePath, serial)) {
            entry->picture.unconverted = image;
            Q_EMIT loaded(filePath);
        }
    };
    whenDone(QtConcurrent::run(
                 backgroundThreads(), loadUnconverted, filePath, found->picture.screen.size()),
        this,
        keep);
}

void PictureStore::load(const QString& filePath, RKLoadPriority priority)
{
    // What is there is shown until the new one has come.
    Entry& entry = m_entries[filePath];
    for (const CancelLoad& cancel : std::as_const(entry.loading))
        cancel();
    entry.serial = ++m_newest;
    entry.isFullWanted = false;
    entry.isUnconvertedWanted = false;
    entry.loading = {followLoad(
        m_loader->load(RKMediaDescriptor(QFileInfo(filePath)), m_screen, RKImageOption(), priority),
        pictureOf,
        this,
        [this, filePath, serial = entry.serial](const Picture& picture) {
            if (Entry* current = this->entry(filePath, serial)) {
                current->picture = picture;
                current->isLoaded = true;
                current->isFullWanted = !picture.full.isNull();
                Q_EMIT loaded(filePath);
            }
        })};
}

PictureStore::Entry* PictureStore::entry(const QString& filePath, quint64 serial)
{
    const auto entry = m_entries.find(filePath);
    return entry != m_entries.end() && entry->serial == serial ? &*entry : nullptr;
}

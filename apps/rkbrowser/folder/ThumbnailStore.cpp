#include "folder/ThumbnailStore.h"

namespace {

constexpr qsizetype kMaxKeptBytes = 192 << 20;
// What an entry takes without its pixels.
constexpr qsizetype kEntryBytes = 512;

} // namespace

ThumbnailStore::ThumbnailStore(RKAsyncLoader* loader, QObject* parent)
    : QObject(parent)
    , m_loader(loader)
    , m_kept(kMaxKeptBytes)
{
}

void ThumbnailStore::setPixels(int pixels)
{
    if (pixels == m_pixels)
        return;
    m_pixels = pixels;
    m_kept.clear();
}

const Thumbnail* ThumbnailStore::find(const File& file) const
{
    return m_kept.object(key(file));
}

void ThumbnailStore::want(const QList<File>& visible, const QList<File>& nearby)
{
    QHash<QString, CancelLoad> unwanted = std::exchange(m_loading, {});
    QList<RKMediaDescriptor> first;
    const auto loadMissing = [&](const QList<File>& files, RKLoadPriority priority) {
        for (const File& file : files) {
            const QString name = key(file);
            if (m_loading.contains(name) || m_kept.contains(name))
                continue;
            if (priority == RKLoadPriority::Visible)
                first << RKMediaDescriptor(QFileInfo(file.path));
            const auto loading = unwanted.find(name);
            if (loading == unwanted.end()) {
                load(file, name, priority);
            } else {
                m_loading.insert(name, *loading);
                unwanted.erase(loading);
            }
        }
    };
    loadMissing(visible, RKLoadPriority::Visible);
    loadMissing(nearby, RKLoadPriority::Nearby);
    for (const CancelLoad& cancel : std::as_const(unwanted))
        cancel();
    m_loader->setVisible(first);
}

QString ThumbnailStore::key(const File& file) const
{
    return file.path + u'\n' + QString::number(file.modified.toMSecsSinceEpoch()) + u'\n'
        + QString::number(m_pixels);
}

void ThumbnailStore::load(const File& file, const QString& name, RKLoadPriority priority)
{
    // Drawings become pixels on the loader's thread, not on the window's.
    const auto make = [](const RKLoadResult& result) {
        RKDrawable drawable = result.drawable();
        drawable.optimizeForDrawing();
        return Thumbnail{drawable.image(), result.error().text()};
    };
    const QSize size(m_pixels, m_pixels);
    m_loading[name] = followLoad(
        m_loader->load(RKMediaDescriptor(QFileInfo(file.path)), size, RKImageOption(), priority),
        make,
        this,
        [this, name, path = file.path](
            const Thumbnail& thumbnail) { keep(name, path, thumbnail); });
}

void ThumbnailStore::keep(const QString& name, const QString& path, const Thumbnail& thumbnail)
{
    if (m_loading.remove(name) == 0)
        return;
    m_kept.insert(name, new Thumbnail(thumbnail), kEntryBytes + thumbnail.image.sizeInBytes());
    Q_EMIT loaded(path);
}

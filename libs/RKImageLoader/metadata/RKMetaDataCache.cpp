#include "RKImageLoader/metadata/RKMetaDataCache.h"

#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <algorithm>
#include <utility>

namespace {

void warnOfMissingFile(const QFileInfo& file)
{
    if (!file.exists())
        qCWarning(rkMetadata) << file << "does not exist";
}

bool hasSize(const RKMetaData& metaData)
{
    const QSize size = metaData.unrotatedSize();
    return size.width() >= 0 && size.height() >= 0;
}

} // namespace

RKMetaDataCache::RKMetaDataCache() = default;

RKMetaDataCache::~RKMetaDataCache() = default;

RKMetaData* RKMetaDataCache::metaData(const QFileInfo& file)
{
    warnOfMissingFile(file);
    const quint64 changesBefore = m_changeCount;
    if (RKMetaData* held = retrieve(file))
        return held;

    auto made = std::make_unique<RKMetaData>(file);
    // An image that could not be measured is not held: it may be readable the next time.
    if (!hasSize(*made))
        return made.release();
    RKMetaData* const handedOut = made.get();
    hold(key(file), std::move(made), changesBefore, Owner::HandedOut);
    return handedOut;
}

RKMetaData* RKMetaDataCache::metaData(const QFileInfo& file, const QByteArray& bytes)
{
    warnOfMissingFile(file);
    const quint64 changesBefore = m_changeCount;
    if (RKMetaData* held = retrieve(file))
        return held;

    // Kept: held without regard to its size, which would be the same the next time. See
    // RKMetaDataCacheTest::unreadableFileIsNotHeld.
    auto made = std::make_unique<RKMetaData>(file, bytes);
    RKMetaData* const handedOut = made.get();
    hold(key(file), std::move(made), changesBefore, Owner::HandedOut);
    return handedOut;
}

RKMetaData RKMetaDataCache::metaDataValue(const QFileInfo& file)
{
    warnOfMissingFile(file);
    const quint64 changesBefore = m_changeCount;
    const QString fileKey = key(file);
    if (std::optional<RKMetaData> held = copyOfHeld(fileKey))
        return *std::move(held);

    RKMetaData made(file);
    if (hasSize(made))
        hold(fileKey, std::make_unique<RKMetaData>(made), changesBefore, Owner::CacheOnly);
    return made;
}

RKMetaData RKMetaDataCache::metaDataValue(const QFileInfo& file, const QByteArray& bytes)
{
    return metaDataValue(file, bytes, changeCount());
}

RKMetaData RKMetaDataCache::metaDataValue(
    const QFileInfo& file, const QByteArray& bytes, quint64 changeCount)
{
    warnOfMissingFile(file);
    const QString fileKey = key(file);
    if (std::optional<RKMetaData> held = copyOfHeld(fileKey))
        return *std::move(held);

    RKMetaData made(file, bytes);
    hold(fileKey, std::make_unique<RKMetaData>(made), changeCount, Owner::CacheOnly);
    return made;
}

quint64 RKMetaDataCache::changeCount() const
{
    return m_changeCount;
}

RKMetaData* RKMetaDataCache::retrieve(const QFileInfo& file)
{
    const QString fileKey = key(file);
    const QReadLocker locker(&m_lock);
    const auto found = m_entries.find(fileKey);
    if (found == m_entries.end())
        return nullptr;
    found->second.owner = Owner::HandedOut;
    return found->second.metaData.get();
}

bool RKMetaDataCache::contains(const QFileInfo& file) const
{
    const QString fileKey = key(file);
    const QReadLocker locker(&m_lock);
    return m_entries.find(fileKey) != m_entries.cend();
}

void RKMetaDataCache::insert(const QFileInfo& file, RKMetaData* metaData)
{
    if (!metaData)
        return;
    const QString fileKey = key(file);
    std::unique_ptr<RKMetaData> unused;
    const QWriteLocker locker(&m_lock);
    const auto held = m_entries.find(fileKey);
    if (held != m_entries.cend() && held->second.metaData.get() == metaData)
        return;

    // An object that comes back after invalidate() belongs to the cache already.
    const auto retired = std::find_if(m_retired.begin(),
        m_retired.end(),
        [metaData](const auto& object) { return object.get() == metaData; });
    std::unique_ptr<RKMetaData> owned;
    if (retired == m_retired.end()) {
        owned.reset(metaData);
    } else {
        owned = std::move(*retired);
        m_retired.erase(retired);
    }
    unused = put(fileKey, std::move(owned), Owner::HandedOut);
}

void RKMetaDataCache::invalidate(const QFileInfo& file)
{
    const QString fileKey = key(file);
    std::unique_ptr<RKMetaData> unused;
    const QWriteLocker locker(&m_lock);
    ++m_changeCount;
    const auto found = m_entries.find(fileKey);
    if (found == m_entries.end())
        return;
    unused = retire(std::move(found->second.metaData), found->second.owner);
    m_entries.erase(found);
}

void RKMetaDataCache::clear()
{
    std::unordered_map<QString, Entry> unused;
    const QWriteLocker locker(&m_lock);
    ++m_changeCount;
    m_entries.swap(unused);
}

QString RKMetaDataCache::key(const QFileInfo& file) const
{
    return file.absoluteFilePath();
}

std::optional<RKMetaData> RKMetaDataCache::copyOfHeld(const QString& key) const
{
    const QReadLocker locker(&m_lock);
    const auto found = m_entries.find(key);
    if (found == m_entries.cend())
        return std::nullopt;
    return *found->second.metaData;
}

// Takes what was just read, unless it may be obsolete. A copy for a value does not displace an
// object that came in meanwhile, which somebody may be changing through its pointer.
void RKMetaDataCache::hold(
    const QString& key, std::unique_ptr<RKMetaData> made, quint64 changeCount, Owner owner)
{
    std::unique_ptr<RKMetaData> unused;
    const QWriteLocker locker(&m_lock);
    const bool isLate = owner == Owner::CacheOnly && m_entries.find(key) != m_entries.cend();
    if (changeCount == m_changeCount && !isLate)
        unused = put(key, std::move(made), owner);
    else
        unused = retire(std::move(made), owner);
}

// Returns the object that was held before if nobody needs it any more, to be deleted once the lock
// is released; so does retire().
std::unique_ptr<RKMetaData> RKMetaDataCache::put(
    const QString& key, std::unique_ptr<RKMetaData> metaData, Owner owner)
{
    Entry& entry = m_entries[key];
    std::unique_ptr<RKMetaData> former = retire(std::move(entry.metaData), entry.owner);
    entry.metaData = std::move(metaData);
    entry.owner = owner;
    return former;
}

std::unique_ptr<RKMetaData> RKMetaDataCache::retire(
    std::unique_ptr<RKMetaData> metaData, Owner owner)
{
    if (metaData && owner == Owner::HandedOut)
        m_retired.push_back(std::move(metaData));
    return metaData; // null by now if it was retired
}

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKSingleton.h"

#include <QByteArray>
#include <QFileInfo>
#include <QReadWriteLock>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

/// Keeps the metadata of files, so that each file is parsed once.
///
/// A file is known by its absolute path as given: links and "." or ".." are not resolved. A file
/// that changes on disk must be reported with invalidate(), before and after the change.
///
/// Pointers that were handed out stay valid until the cache is destroyed, or cleared while it holds
/// the object. Prefer metaDataValue(), which hands out none: objects without pointers to them are
/// freed when they leave the cache.
///
/// Thread-safe. A QFileInfo is not: give each thread its own.
class RKIMAGELOADER_EXPORT RKMetaDataCache : public RKSingleton<RKMetaDataCache>
{
public:
    RKMetaDataCache();
    /// Deletes every object that the cache has owned.
    ~RKMetaDataCache() override;

    /// The metadata of a file; it is read if it is not held. Never null.
    ///
    /// The cache owns the object, except one without a size (RKMetaData::unrotatedSize() is
    /// negative): that image could not be measured, is not held, and the object is the caller's to
    /// delete. A missing file is logged.
    RKMetaData* metaData(const QFileInfo& file);
    /// The same, but parses the file's bytes if the metadata is not held. The cache owns the object
    /// in any case.
    RKMetaData* metaData(const QFileInfo& file, const QByteArray& bytes);

    /// A copy of the metadata of a file, otherwise like metaData().
    RKMetaData metaDataValue(const QFileInfo& file);
    /// The same, from the file's bytes if they are not held.
    RKMetaData metaDataValue(const QFileInfo& file, const QByteArray& bytes);
    /// The same for bytes that were read a while ago: pass the changeCount() from before the read.
    /// If any file was reported as changed since, the metadata is returned but not held.
    RKMetaData metaDataValue(const QFileInfo& file, const QByteArray& bytes, quint64 changeCount);

    /// How often a file was reported as changed, or the cache cleared.
    quint64 changeCount() const;

    /// The object that is held for the file, or null. The cache owns it.
    RKMetaData* retrieve(const QFileInfo& file);
    /// Whether the file's metadata is held now; another thread may change that at any time.
    bool contains(const QFileInfo& file) const;

    /// Holds the object, and owns it from now on, in place of the one held for the file. The object
    /// must not be held for another file. Null is ignored.
    void insert(const QFileInfo& file, RKMetaData* metaData);

    /// Drops what is held for the file; the next request reads it again.
    void invalidate(const QFileInfo& file);

    /// Deletes all objects that are held, handed out or not.
    void clear();

    /// What the file is known by: its absolute path.
    QString key(const QFileInfo& file) const;

private:
    enum class Owner
    {
        /// Nobody outside has a pointer to the object.
        CacheOnly,
        /// Somebody outside may have one, for as long as the cache lives.
        HandedOut
    };

    struct Entry
    {
        std::unique_ptr<RKMetaData> metaData;
        // Atomic, because retrieve() sets it under the read lock.
        std::atomic<Owner> owner = Owner::CacheOnly;
    };

    std::optional<RKMetaData> copyOfHeld(const QString& key) const;
    void hold(
        const QString& key, std::unique_ptr<RKMetaData> made, quint64 changeCount, Owner owner);
    std::unique_ptr<RKMetaData> put(
        const QString& key, std::unique_ptr<RKMetaData> metaData, Owner owner);
    std::unique_ptr<RKMetaData> retire(std::unique_ptr<RKMetaData> metaData, Owner owner);

    std::unordered_map<QString, Entry> m_entries;
    // Objects that have left the table while somebody may have had a pointer to them.
    std::vector<std::unique_ptr<RKMetaData>> m_retired;
    // Shows whether what was read meanwhile may be out of date.
    std::atomic<quint64> m_changeCount = 0;
    // Guards all of the above. The objects' own locks may be taken after it. Recursive only because
    // thread checkers can follow this kind; it costs 15 ns.
    mutable QReadWriteLock m_lock{QReadWriteLock::Recursive};
};

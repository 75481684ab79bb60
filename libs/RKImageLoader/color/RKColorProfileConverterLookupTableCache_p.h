#pragma once

#include "RKImageLoader/color/RKColorProfileConverterLookupTableKey_p.h"
#include "RKImageLoader/color/RKColorProfileConverterLookupTable_p.h"

#include <QHash>
#include <QMutex>

/// The lookup table of each profile seen, forgotten in reset() only: pictures of one process share
/// few profiles.
///
/// Thread-safe. A table that is in use during a reset lives as long as its copies.
class RKColorProfileConverterLookupTableCache
{
public:
    RKColorProfileConverterLookupTableCache() = default;
    RKColorProfileConverterLookupTableCache(const RKColorProfileConverterLookupTableCache&)
        = delete;
    RKColorProfileConverterLookupTableCache& operator=(
        const RKColorProfileConverterLookupTableCache&)
        = delete;
    ~RKColorProfileConverterLookupTableCache() = default;

    /// The table under the key; a new one is made and kept where there is none.
    RKColorProfileConverterLookupTable findLookupTable(
        const RKColorProfileConverterLookupTableKey& key, CIccCmm* cmm) const;
    /// Takes the place of the one under the key. Kept: conversions have no use for it, because they
    /// share the table with the cache. See
    /// RKColorProfileConverterTest::tablesAreFoundUntilTheyAreForgotten.
    void updateLookupTable(const RKColorProfileConverterLookupTableKey& key,
        const RKColorProfileConverterLookupTable& table);
    void reset();

private:
    // Guards the tables. No other lock is taken under it.
    mutable QMutex m_mutex;
    mutable QHash<RKColorProfileConverterLookupTableKey, RKColorProfileConverterLookupTable>
        m_tables;
};

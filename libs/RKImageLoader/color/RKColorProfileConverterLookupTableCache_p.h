#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/color/RKColorProfileConverterLookupTableKey_p.h"
#include "RKImageLoader/color/RKColorProfileConverterLookupTable_p.h"

#include <QHash>
#include <QMutex>

/// The lookup table of each profile seen. It owns their colours, and frees them in reset() only:
/// pictures of one process share few profiles.
///
/// Thread-safe; using a table while it is freed is the caller's to prevent.
class RKIMAGELOADER_TEST_EXPORT RKColorProfileConverterLookupTableCache
{
public:
    RKColorProfileConverterLookupTableCache() = default;
    RKColorProfileConverterLookupTableCache(const RKColorProfileConverterLookupTableCache&)
        = delete;
    RKColorProfileConverterLookupTableCache& operator=(
        const RKColorProfileConverterLookupTableCache&)
        = delete;
    ~RKColorProfileConverterLookupTableCache();

    /// The table under the key; a new one is made and kept where there is none.
    RKColorProfileConverterLookupTable findLookupTable(
        const RKColorProfileConverterLookupTableKey& key, CIccCmm* cmm) const;
    void updateLookupTable(const RKColorProfileConverterLookupTableKey& key,
        const RKColorProfileConverterLookupTable& table);
    void reset();

private:
    // Guards the tables. No other lock is taken under it.
    mutable QMutex m_mutex;
    mutable QHash<RKColorProfileConverterLookupTableKey, RKColorProfileConverterLookupTable>
        m_tables;
};

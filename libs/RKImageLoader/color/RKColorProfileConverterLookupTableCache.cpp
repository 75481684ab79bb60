#include "RKImageLoader/color/RKColorProfileConverterLookupTableCache_p.h"

#include <QMutexLocker>

RKColorProfileConverterLookupTable RKColorProfileConverterLookupTableCache::findLookupTable(
    const RKColorProfileConverterLookupTableKey& key, CIccCmm* cmm) const
{
    const QMutexLocker locker(&m_mutex);
    const auto found = m_tables.constFind(key);
    return found == m_tables.constEnd()
        ? *m_tables.insert(key, RKColorProfileConverterLookupTable(cmm))
        : *found;
}

void RKColorProfileConverterLookupTableCache::updateLookupTable(
    const RKColorProfileConverterLookupTableKey& key,
    const RKColorProfileConverterLookupTable& table)
{
    const QMutexLocker locker(&m_mutex);
    m_tables.insert(key, table);
}

void RKColorProfileConverterLookupTableCache::reset()
{
    const QMutexLocker locker(&m_mutex);
    m_tables.clear();
}

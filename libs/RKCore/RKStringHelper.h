#pragma once

#include "RKCore/RKCoreExport.h"

#include <QList>
#include <QStringList>

/// Conversions of texts. Stateless and thread-safe.
class RKCORE_EXPORT RKStringHelper
{
public:
    /// The decimal 32-bit integers among the texts, in order. Surrounding white space is allowed;
    /// texts that are not such an integer are skipped.
    static QList<int> stringListToIntList(const QStringList& texts);
};

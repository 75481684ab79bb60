#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>

#include <optional>

/// Reads gzip data (RFC 1952). Reentrant.
class RKIMAGELOADER_TEST_EXPORT RKGzip
{
public:
    /// The data begin like a gzip file.
    static bool isGzip(const QByteArray& data);

    /// The contents of all members; absent when the data are damaged, cut off or hold more than
    /// the limit in bytes. Bytes behind the last member that are no member are ignored.
    static std::optional<QByteArray> inflated(const QByteArray& data, qint64 limit);
};

#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

/// Reads gzip data (RFC 1952) and measures zlib data (RFC 1950). Reentrant.
class RKGzip
{
public:
    /// Whether the data begins like a gzip file.
    static bool isGzip(const QByteArray& data);

    /// The contents of all members; nullopt if the data is damaged, cut off or holds more than the
    /// limit in bytes. Bytes after the last member that are not a member are ignored.
    static std::optional<QByteArray> inflated(const QByteArray& data, qint64 limit);

    /// The length of zlib data after decompression, up to an error. Measuring stops as soon as it
    /// exceeds the limit.
    static qint64 inflatedSize(QByteArrayView zlibData, qint64 limit);

    /// The version of zlib that this process has loaded.
    static QString zlibVersion();
};

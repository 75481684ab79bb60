#pragma once

#include "RKImageLoader/files/RKSparseBytes_p.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <optional>

/// Compares two TIFF structures, one of which was made from the other by an edit.
///
/// Every tag of every directory that can be reached must have the same values; strips, tiles and
/// JPEG streams the same bytes. A maker note and a maker's private data must lie in the same place,
/// which their own pointers need, and so must all bytes that no directory mentions: only the maker
/// knows what leads there.
///
/// Bytes that are not held are the same at the same place only: elsewhere they count as different.
namespace RKTiffComparison {

/// What the edit may change: a tag, or a whole directory with all below it
/// (RKTiffStructure::Directory::path).
struct Owned
{
    QByteArray directory;
    std::optional<quint16> tag = std::nullopt;
};

/// The first few differences, like "IFD0/Exif tag 0x9003"; none if nothing else has changed. In an
/// owned tag with Photoshop's resources, those other than IPTC are compared all the same.
QStringList differences(
    const RKSparseBytes& before, const RKSparseBytes& after, const QList<Owned>& owned);

} // namespace RKTiffComparison

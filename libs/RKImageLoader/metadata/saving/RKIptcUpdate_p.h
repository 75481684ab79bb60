#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QByteArray>
#include <QByteArrayList>

#include <optional>

namespace RKIptcUpdate {

/// The same for all blocks of one file, with the data sets that count among them. Values go to all
/// blocks that have some with the same number, or else to the first. Also nullopt if a block is not
/// in the character set that the others are marked with.
std::optional<QByteArrayList> updatedBlocks(
    const QByteArrayList& blocks, const Exiv2::IptcData& before, const Exiv2::IptcData& after);

/// An IPTC block with what changed between two states of its data; all other data sets stay as they
/// are, byte for byte. A block that is a copy with other data sets keeps those. Empty if no data
/// set is left; nullopt if a value cannot be stored.
std::optional<QByteArray> updated(
    const QByteArray& block, const Exiv2::IptcData& before, const Exiv2::IptcData& after);

} // namespace RKIptcUpdate

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QByteArray>

#include <optional>

namespace RKIptcUpdate {

/// An IPTC block with what changed between two states of its data; all other data sets stay as they
/// are, byte for byte. A block that is a copy with other data sets keeps those. Empty if no data
/// set is left; nullopt if a value cannot be stored.
RKIMAGELOADER_TEST_EXPORT std::optional<QByteArray> updated(
    const QByteArray& block, const Exiv2::IptcData& before, const Exiv2::IptcData& after);

} // namespace RKIptcUpdate

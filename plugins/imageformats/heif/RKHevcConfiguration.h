#pragma once

#include "imageformats/common/RKBigEndianReader.h"

#include <QList>

#include <algorithm>
#include <optional>

/// The parameter sets of a coded picture in its hvcC box (ISO/IEC 14496-15, 8.3.3.1.2).
namespace RKHevcConfiguration {

/// From the content of the box; each has at least its header. None where the box is cut off.
inline std::optional<QList<QByteArrayView>> units(QByteArrayView box)
{
    constexpr quint64 kFixedPart = 22;
    constexpr qsizetype kHeader = 2;
    QList<QByteArrayView> result;
    RKBigEndianReader reader(box);
    reader.bytes(kFixedPart);
    for (quint64 arrays = reader.number(1); arrays > 0 && reader.isGood(); --arrays) {
        reader.number(1);
        for (quint64 count = reader.number(2); count > 0 && reader.isGood(); --count)
            result.append(reader.bytes(reader.number(2)));
    }
    const bool isGood
        = reader.isGood() && std::all_of(result.begin(), result.end(), [](QByteArrayView unit) {
              return unit.size() >= kHeader;
          });
    return isGood ? std::optional(result) : std::nullopt;
}

} // namespace RKHevcConfiguration

#include "RKImageLoader/metadata/exiv2/RKExiv2IntegerType_p.h"

#include <algorithm>
#include <limits>

namespace {

template <typename T>
bool fits(const QList<int>& values)
{
    using Limits = std::numeric_limits<T>;
    return std::all_of(values.begin(), values.end(), [](qint64 value) {
        return value >= qint64(Limits::min()) && value <= qint64(Limits::max());
    });
}

bool fits(const QList<int>& values, Exiv2::TypeId type)
{
    switch (type) {
    case Exiv2::unsignedByte: return fits<quint8>(values);
    case Exiv2::unsignedShort: return fits<quint16>(values);
    case Exiv2::unsignedLong: return fits<quint32>(values);
    case Exiv2::signedByte: return fits<qint8>(values);
    case Exiv2::signedShort: return fits<qint16>(values);
    default: return true;
    }
}

} // namespace

bool RKExiv2IntegerType::isInteger(Exiv2::TypeId type)
{
    switch (type) {
    case Exiv2::unsignedByte:
    case Exiv2::unsignedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedByte:
    case Exiv2::signedShort:
    case Exiv2::signedLong: return true;
    default: return false;
    }
}

Exiv2::TypeId RKExiv2IntegerType::of(Exiv2::TypeId typeOfTag, const QList<int>& values)
{
    // Some maker-note tags of integers have no type of their own in exiv2's tables.
    const auto wanted = isInteger(typeOfTag) ? typeOfTag : Exiv2::unsignedShort;
    return fits(values, wanted) ? wanted : Exiv2::signedLong;
}

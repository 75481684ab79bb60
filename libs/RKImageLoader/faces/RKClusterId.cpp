#include "RKImageLoader/faces/RKClusterId.h"

namespace {

constexpr int kNull = -1;
constexpr int kUnnamed = -100;
constexpr int kReserved = -200;
constexpr int kNoFaces = -300;

// Registered when the library is loaded, so that hosts can find the type by its name.
[[maybe_unused]] const int kMetaTypeId = qRegisterMetaType<RKClusterId>("RKClusterId");

} // namespace

RKClusterId::RKClusterId(int id)
    : RKIdentifier(id)
{
}

bool RKClusterId::isNull() const
{
    return id() == kNull;
}

bool RKClusterId::isValid() const
{
    return id() >= 0 || isUnnamedId() || id() == kReserved || isNoFacesId();
}

bool RKClusterId::isUnnamedId() const
{
    return id() == kUnnamed;
}

bool RKClusterId::isNoFacesId() const
{
    return id() == kNoFaces;
}

QVariant RKClusterId::toVariant() const
{
    return QVariant::fromValue(*this);
}

#include "RKImageLoader/metadata/exiv2/RKExiv2AbstractData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"

RKExiv2AbstractData::RKExiv2AbstractData()
{
    RKExiv2Library::initialize();
}

RKExiv2AbstractData::~RKExiv2AbstractData() = default;

bool RKExiv2AbstractData::hasChanges() const
{
    return !m_changedKeys.empty();
}

const std::set<std::string>& RKExiv2AbstractData::changedKeys() const
{
    return m_changedKeys;
}

bool RKExiv2AbstractData::canWriteTo(RKExiv2ImagePtr& image) const
{
    return (image->checkMode(supportedMetaData()) & Exiv2::amWrite) != 0;
}

void RKExiv2AbstractData::describeError(const QString& where, const Exiv2::Error& error) const
{
    RKExiv2Library::describeError(where, error);
}

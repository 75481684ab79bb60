#include "RKImageLoader/files/RKCTime.h"

#include "RKImageLoader/files/RKCTimeHandler.h"

RKCTime::RKCTime(const QDateTime& time)
    : m_time(time)
{
}

RKCTime::RKCTime(const QString& path)
    : m_time(readFrom(path))
{
}

RKCTime::~RKCTime() = default;

QDateTime RKCTime::readFrom(const QString& path) const
{
    return RKCTimeHandler::instance()->readCTime(path);
}

void RKCTime::writeTo(const QString& path) const
{
    RKCTimeHandler::instance()->writeCTime(path, m_time);
}

#include "RKImageLoader/files/RKCTimeHandlerMac_p.h"
#include "RKImageLoader/files/RKFileTimes.h"

QDateTime RKCTimeHandlerMac::readCTime(const QString& path) const
{
    return ctimeInternal(path);
}

void RKCTimeHandlerMac::writeCTime(const QString& path, const QDateTime& time) const
{
    setCtimeInternal(path, time);
}

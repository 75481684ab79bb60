#include "RKImageLoader/files/RKCTimeHandler.h"

#ifdef Q_OS_MACOS
#    include "RKImageLoader/files/RKCTimeHandlerMac_p.h"
using RKCTimeHandlerOfPlatform = RKCTimeHandlerMac;
#else
using RKCTimeHandlerOfPlatform = RKCTimeHandler;
#endif

RKCTimeHandler::RKCTimeHandler() = default;

RKCTimeHandler::~RKCTimeHandler() = default;

RKCTimeHandler* RKCTimeHandler::instance()
{
    static auto* const handler = new RKCTimeHandlerOfPlatform;
    return handler;
}

QDateTime RKCTimeHandler::readCTime(const QString&) const
{
    return {};
}

void RKCTimeHandler::writeCTime(const QString&, const QDateTime&) const
{
}

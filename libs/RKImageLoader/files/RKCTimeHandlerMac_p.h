#pragma once

#include "RKImageLoader/files/RKCTimeHandler.h"

/// Reads and sets creation times on macOS. Thread-safe.
class RKCTimeHandlerMac : public RKCTimeHandler
{
public:
    QDateTime readCTime(const QString& path) const override;
    void writeCTime(const QString& path, const QDateTime& time) const override;
};

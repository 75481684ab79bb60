#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QDateTime>
#include <QString>

/// How creation times of files are read and set on a platform. This class itself is the one for
/// platforms that cannot set them: it leaves them alone.
///
/// Thread-safe; a handler keeps no state.
class RKIMAGELOADER_EXPORT RKCTimeHandler
{
public:
    RKCTimeHandler();
    virtual ~RKCTimeHandler();

    RKCTimeHandler(const RKCTimeHandler&) = delete;
    RKCTimeHandler& operator=(const RKCTimeHandler&) = delete;

    /// The handler of this platform, made on first use and never destroyed.
    static RKCTimeHandler* instance();

    /// The file's creation time; here always an invalid one.
    virtual QDateTime readCTime(const QString& path) const;

    /// Sets the file's creation time; an invalid one changes nothing. Here it does nothing at all.
    virtual void writeCTime(const QString& path, const QDateTime& time) const;
};

#include "RKImageLoader/files/RKFileTimes.h"

#import <Foundation/Foundation.h>

namespace {

constexpr double kMillisecondsPerSecond = 1000.0;

void setTime(const QString& path, NSFileAttributeKey key, const QDateTime& time)
{
    if (!time.isValid())
        return;
    @autoreleasepool {
        NSDate* date = [NSDate
            dateWithTimeIntervalSince1970:double(time.toMSecsSinceEpoch()) / kMillisecondsPerSecond];
        [[NSFileManager defaultManager] setAttributes:@{key : date}
                                         ofItemAtPath:path.toNSString()
                                                error:nil];
    }
}

} // namespace

QDateTime timeInternal(const QString& path, int which)
{
    @autoreleasepool {
        NSDictionary* attributes =
            [[NSFileManager defaultManager] attributesOfItemAtPath:path.toNSString() error:nil];
        NSDate* date = [attributes
            objectForKey:which == 1 ? NSFileModificationDate : NSFileCreationDate];
        return date ? QDateTime::fromNSDate(date) : QDateTime();
    }
}

void setCtimeInternal(const QString& path, const QDateTime& time)
{
    setTime(path, NSFileCreationDate, time);
}

void setMtimeInternal(const QString& path, const QDateTime& time)
{
    setTime(path, NSFileModificationDate, time);
}

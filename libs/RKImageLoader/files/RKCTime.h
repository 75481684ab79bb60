#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QDateTime>
#include <QString>

/// Remembers the creation time of a file, to restore it after the file was replaced. Reentrant.
class RKIMAGELOADER_EXPORT RKCTime
{
public:
    /// An unknown time.
    RKCTime() = default;
    /// A time that the caller has read. An invalid one counts as unknown.
    explicit RKCTime(const QDateTime& time);
    /// The creation time of the file at that path.
    explicit RKCTime(const QString& path);

    RKCTime(const RKCTime&) = default;
    RKCTime(RKCTime&&) noexcept = default;
    RKCTime& operator=(const RKCTime&) = default;
    RKCTime& operator=(RKCTime&&) noexcept = default;
    virtual ~RKCTime();

    /// The creation time of a file; invalid if the platform's handler can't read it.
    QDateTime readFrom(const QString& path) const;

    /// Gives the remembered time to a file, if the platform can set it; an unknown time changes
    /// nothing.
    void writeTo(const QString& path) const;

private:
    QDateTime m_time;
};

#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

/// Dates as cameras record them: what the clock on the wall showed, in some files with its offset
/// from UTC.
namespace RKWallTime {

/// A date and a time, to be read and written as such.
struct Moment
{
    QDate date;
    QTime time;
    // In seconds from UTC; nullopt for that of the machine at the time.
    std::optional<int> offset;

    bool isValid() const
    {
        return date.isValid() && time.isValid();
    }
};

/// What the date shows; also of a local time that its time zone has skipped, which Qt calls
/// invalid.
Moment fromDateTime(const QDateTime& dateTime);

/// A local time without an offset, else one with that offset. A time that the machine's time zone
/// has skipped keeps its digits and gets the offset from before.
QDateTime toDateTime(const Moment& moment);

/// The offset of a text like "+05:30" or "Z" (Exif 2.32, 4.6.5, tag 0x9011).
std::optional<int> offset(const QString& text);

/// The text of a date and time (ISO 8601, or as Exif has them) moved by so many seconds of the
/// clock, in the way of ISO 8601. What follows, fractions of a second and an offset, stays. Empty
/// if it has no time or the year would have more than four digits.
QString shifted(const QString& text, qint64 seconds);

/// A text like "+05:30"; empty without an offset.
QString offsetText(const Moment& moment);

} // namespace RKWallTime

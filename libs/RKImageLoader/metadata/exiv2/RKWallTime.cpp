#include "RKImageLoader/metadata/exiv2/RKWallTime_p.h"

#include <QRegularExpression>

#include <cstdlib>

namespace {

constexpr int kSecondsOfMinute = 60;
constexpr int kMinutesOfHour = 60;
// Kiribati.
constexpr int kMaxHours = 14;

} // namespace

RKWallTime::Moment RKWallTime::fromDateTime(const QDateTime& dateTime)
{
    Moment moment{dateTime.date(), dateTime.time(), {}};
    if (dateTime.timeSpec() != Qt::LocalTime)
        moment.offset = dateTime.offsetFromUtc();
    return moment;
}

QDateTime RKWallTime::toDateTime(const Moment& moment)
{
    if (!moment.isValid())
        return {};
    if (moment.offset)
        return QDateTime(moment.date, moment.time, Qt::OffsetFromUTC, *moment.offset);
    const QDateTime local(moment.date, moment.time);
    if (local.isValid() && local.time() == moment.time)
        return local;
    const int before = QDateTime(moment.date.addDays(-1), moment.time).offsetFromUtc();
    return QDateTime(moment.date, moment.time, Qt::OffsetFromUTC, before);
}

std::optional<int> RKWallTime::offset(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^([+-])(\\d\\d):?(\\d\\d)$"));
    const QString trimmed = text.trimmed();
    if (trimmed == QLatin1String("Z"))
        return 0;
    const QRegularExpressionMatch match = pattern.match(trimmed);
    const int hours = match.captured(2).toInt();
    const int minutes = match.captured(3).toInt();
    if (!match.hasMatch() || hours > kMaxHours || minutes >= kMinutesOfHour)
        return std::nullopt;
    const int seconds = (hours * kMinutesOfHour + minutes) * kSecondsOfMinute;
    return match.captured(1) == QLatin1String("-") ? -seconds : seconds;
}

QString RKWallTime::shifted(const QString& text, qint64 seconds)
{
    constexpr int kMaxYear = 9999;
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{4})[:-](\\d\\d)[:-](\\d\\d)[T ](\\d\\d):(\\d\\d)(?::(\\d\\d))?(.*)$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    const auto part = [&match](int number) { return match.captured(number).toInt(); };
    // The midnight after a day (ISO 8601).
    const bool isEndOfDay = part(4) == 24 && part(5) == 0 && part(6) == 0;
    const QTime time(isEndOfDay ? 0 : part(4), part(5), part(6));
    // In UTC, which skips no times.
    const QDateTime moved = QDateTime(QDate(part(1), part(2), part(3)), time, Qt::UTC)
                                .addDays(isEndOfDay ? 1 : 0)
                                .addSecs(seconds);
    // Qt takes a time that there isn't for midnight.
    if (!time.isValid() || !moved.isValid() || moved.date().year() < 1
        || moved.date().year() > kMaxYear)
        return {};
    const bool hasSeconds = !match.captured(6).isEmpty() || moved.time().second() != 0;
    return moved.toString(hasSeconds ? QStringLiteral("yyyy-MM-ddThh:mm:ss")
                                     : QStringLiteral("yyyy-MM-ddThh:mm"))
        + match.captured(7);
}

QString RKWallTime::offsetText(const Moment& moment)
{
    if (!moment.offset)
        return {};
    const int minutes = std::abs(*moment.offset) / kSecondsOfMinute;
    const QTime amount = QTime(0, 0).addSecs(minutes * kSecondsOfMinute);
    return QLatin1Char(*moment.offset < 0 ? '-' : '+') + amount.toString(QStringLiteral("hh:mm"));
}

#include "RKImageLoader/metadata/exiv2/RKSidecarDate_p.h"
#include "RKImageLoader/metadata/exiv2/RKWallTime_p.h"

#include <QRegularExpression>

namespace {

constexpr char kDate[] = "Exif.Photo.DateTimeOriginal";
constexpr char kOffset[] = "Exif.Photo.OffsetTimeOriginal";
// What exiv2 reads and writes. Others may have the second one.
constexpr const char* kDatesInXmp[] = {"Xmp.photoshop.DateCreated", "Xmp.exif.DateTimeOriginal"};
constexpr char kDigitizedInXmp[] = "Xmp.xmp.CreateDate";

QString textOf(const Exiv2::ExifData& data, const char* key)
{
    const auto datum = data.findKey(Exiv2::ExifKey(key));
    return datum == data.end() ? QString() : QString::fromStdString(datum->toString());
}

/// The parts of "2020-02-29T12:00:00.25+05:30"; seconds may be missing.
QRegularExpressionMatch partsOf(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{4}-\\d\\d-\\d\\d)T(\\d\\d:\\d\\d)(:\\d\\d)?(\\.\\d+)?(Z|[+-]\\d\\d:\\d\\d)$"));
    return pattern.match(text.trimmed());
}

} // namespace

void RKSidecarDate::read(Exiv2::Image& sidecar)
{
    Exiv2::ExifData& exif = sidecar.exifData();
    const Exiv2::XmpData& xmp = sidecar.xmpData();
    const auto datum = xmp.findKey(Exiv2::XmpKey(kDatesInXmp[0]));
    if (datum == xmp.end() || textOf(exif, kDate).isEmpty())
        return;
    const QRegularExpressionMatch parts = partsOf(QString::fromStdString(datum->toString()));
    const auto offset = RKWallTime::offset(parts.captured(5));
    if (!offset)
        return;
    QString date = parts.captured(1);
    date.replace(QLatin1Char('-'), QLatin1Char(':'));
    const QString seconds = parts.captured(3);
    exif[kDate] = QString(date + QLatin1Char(' ') + parts.captured(2)
        + (seconds.isEmpty() ? QStringLiteral(":00") : seconds))
                      .toStdString();
    exif[kOffset] = RKWallTime::offsetText({{}, {}, offset}).toStdString();
}

void RKSidecarDate::keepChanged(
    const Exiv2::XmpData& before, const Exiv2::XmpData& wanted, Exiv2::XmpData& xmp)
{
    for (const char* name : {kDigitizedInXmp, kDatesInXmp[0], kDatesInXmp[1]}) {
        const Exiv2::XmpKey key(name);
        const auto old = before.findKey(key);
        const auto datum = wanted.findKey(key);
        if (datum != wanted.end() && old != before.end() && datum->toString() != old->toString())
            xmp[name] = datum->toString();
    }
}

void RKSidecarDate::write(const Exiv2::ExifData& before, Exiv2::Image& sidecar)
{
    const Exiv2::ExifData& exif = sidecar.exifData();
    Exiv2::XmpData& xmp = sidecar.xmpData();
    const QString date = textOf(exif, kDate);
    const QString offset = textOf(exif, kOffset);
    if (date.isEmpty() || (date == textOf(before, kDate) && offset == textOf(before, kOffset)))
        return;
    // Without the offset.
    Exiv2::ExifData tags;
    tags[kDate] = date.toStdString();
    Exiv2::copyExifToXmp(tags, xmp);
    const auto datum = xmp.findKey(Exiv2::XmpKey(kDatesInXmp[0]));
    if (datum == xmp.end())
        return;
    const std::string text = datum->toString()
        + RKWallTime::offsetText({{}, {}, RKWallTime::offset(offset)}).toStdString();
    for (const char* key : kDatesInXmp) {
        if (const auto known = xmp.findKey(Exiv2::XmpKey(key)); known != xmp.end())
            known->setValue(text);
    }
}

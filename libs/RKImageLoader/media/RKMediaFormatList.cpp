#include "RKImageLoader/media/RKMediaFormatList.h"

#include <algorithm>

namespace {

constexpr QLatin1String kPlaceholderSuffix(".icloud");

} // namespace

RKMediaFormatList::RKMediaFormatList(const QList<QString>& extensions)
{
    for (const QString& extension : extensions)
        insertOnlyOnce(RKMediaFormat(extension));
}

RKMediaFormatList::RKMediaFormatList(const QList<QByteArray>& extensions)
{
    for (const QByteArray& extension : extensions)
        insertOnlyOnce(RKMediaFormat(extension));
}

RKMediaFormatList::RKMediaFormatList(const QList<RKMediaFormat>& formats)
{
    for (const RKMediaFormat& format : formats)
        insertOnlyOnce(format);
}

RKMediaFormatList::RKMediaFormatList(std::initializer_list<RKMediaFormat> formats)
    : QList<RKMediaFormat>(formats)
{
}

RKMediaFormatList::~RKMediaFormatList() = default;

RKMediaFormatList RKMediaFormatList::all()
{
    RKMediaFormatList formats;
    for (qint64 value = 1; value <= MEDIA_FORMAT_PSD; value *= 2) {
        const RKMediaFormat format{RKMediaFormatEnum(value)};
        if (!format.defaultExtension().isEmpty())
            formats.append(format);
    }
    return formats;
}

void RKMediaFormatList::insertOnlyOnce(const RKMediaFormat& format)
{
    if (!contains(format))
        append(format);
}

QStringList RKMediaFormatList::fileExtensions() const
{
    QStringList extensions;
    for (const RKMediaFormat& format : *this) {
        const QStringList keywords = format.fileExtensions();
        for (const QString& keyword : keywords) {
            if (!extensions.contains(keyword))
                extensions << keyword.toLower() << keyword.toUpper();
        }
    }
    return extensions;
}

QStringList RKMediaFormatList::fileExtensionFilters() const
{
    QStringList filters;
    for (const RKMediaFormat& format : *this) {
        const QStringList own = format.fileExtensionFilters();
        for (const QString& filter : own) {
            if (!filters.contains(filter))
                filters << filter << filter + kPlaceholderSuffix;
        }
    }
    return filters;
}

QString RKMediaFormatList::createFileFilterString() const
{
    QStringList entries;
    for (const RKMediaFormat& format : *this)
        entries << format.fileExtensionFilterEntry();
    return entries.join(QLatin1String(";;"));
}

RKMediaFormat RKMediaFormatList::formatByExtensionFilter(const QString& entry) const
{
    const auto found = std::find_if(cbegin(), cend(), [&entry](const RKMediaFormat& format) {
        return format.fileExtensionFilterEntry() == entry;
    });
    return found == cend() ? RKMediaFormat() : *found;
}

void RKMediaFormatList::sort(const RKMediaFormat& preferred)
{
    std::sort(begin(), end(), compareImageFileFormat);
    const qsizetype index = indexOf(preferred);
    if (index > 0)
        move(index, 0);
}

bool RKMediaFormatList::compareImageFileFormat(const RKMediaFormat& a, const RKMediaFormat& b)
{
    return a.priority() < b.priority();
}

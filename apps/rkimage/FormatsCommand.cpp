#include "FormatsCommand.h"

#include "Output.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QStringList decoderNames(const RKMediaFormat& format)
{
    QStringList names;
    const QList<RKBitmapDecoder*> decoders = RKImageLoader::instance()->decoders(format);
    for (const RKBitmapDecoder* decoder : decoders)
        names << decoder->name();
    return names;
}

QJsonObject describe(const RKMediaFormat& format)
{
    return {{QStringLiteral("format"), format.defaultExtension()},
        {QStringLiteral("description"), format.description()},
        {QStringLiteral("extensions"), QJsonArray::fromStringList(format.fileExtensions())}};
}

} // namespace

int runFormatsCommand(bool json)
{
    const RKMediaFormatList readable = RKMediaLoader::instance()->supportedMediaFormats();
    const RKMediaFormatList writable = RKMediaLoader::instance()->writableMediaFormats();

    if (json) {
        QJsonArray readableArray;
        for (const RKMediaFormat& format : readable) {
            QJsonObject entry = describe(format);
            entry[QStringLiteral("decoders")] = QJsonArray::fromStringList(decoderNames(format));
            readableArray << entry;
        }
        QJsonArray writableArray;
        for (const RKMediaFormat& format : writable)
            writableArray << describe(format);
        Output::print(QJsonDocument(QJsonObject{{QStringLiteral("readable"), readableArray},
            {QStringLiteral("writable"), writableArray}}));
        return Output::AllDone;
    }

    for (const RKMediaFormat& format : readable) {
        Output::print(
            QStringLiteral("%1 %2  %3  [%4]")
                .arg(writable.contains(format) ? QStringLiteral("rw") : QStringLiteral("r "),
                    format.defaultExtension().leftJustified(5),
                    format.description(),
                    decoderNames(format).join(QStringLiteral(", "))));
    }
    return Output::AllDone;
}

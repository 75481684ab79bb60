#include "Arguments.h"
#include "Commands.h"
#include "Output.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QJsonArray>
#include <QJsonObject>

#include <CLI/CLI.hpp>

namespace {

QStringList decoderNames(const RKMediaFormat& format)
{
    QStringList names;
    // Asking for them would enter a video format into the lists of pictures.
    if (format.isVideo())
        return names;
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

void printRow(const QString& access, const RKMediaFormat& format, const QString& note)
{
    const QString line
        = QStringLiteral("%1 %2  %3")
              .arg(access, format.defaultExtension().leftJustified(5), format.description());
    Output::print(note.isEmpty() ? line : line + QStringLiteral("  [%1]").arg(note));
}

int listFormats(bool json)
{
    const RKMediaFormatList readable = RKMediaLoader::instance()->supportedMediaFormats();
    // Not of all loaders, since videos count as writable but never are.
    const RKMediaFormatList writable = RKImageLoader::instance()->writableMediaFormats();
    RKMediaFormatList unreadable = RKMediaFormatList::all();
    unreadable.removeIf([&](const RKMediaFormat& format) { return readable.contains(format); });

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
        QJsonArray unreadableArray;
        for (const RKMediaFormat& format : unreadable)
            unreadableArray << describe(format);
        Output::print(QJsonDocument(QJsonObject{{QStringLiteral("readable"), readableArray},
            {QStringLiteral("writable"), writableArray},
            {QStringLiteral("unreadable"), unreadableArray}}));
        return Output::AllDone;
    }

    for (const RKMediaFormat& format : readable) {
        const QStringList names = decoderNames(format);
        printRow(writable.contains(format) ? QStringLiteral("rw") : QStringLiteral("r "),
            format,
            names.join(QStringLiteral(", ")));
    }
    for (const RKMediaFormat& format : unreadable)
        printRow(QStringLiteral("- "), format, QStringLiteral("no decoder in this build"));
    return Output::AllDone;
}

} // namespace

void addFormatsCommand(CLI::App& app, Command& command)
{
    CLI::App* formats = app.add_subcommand("formats", "List the readable and writable formats");
    const CLI::Option* json = formats->add_flag("--json")->description("Print JSON");
    formats->callback([&command, json] {
        command.run = [json = json->count() > 0]() { return listFormats(json); };
    });
}

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

struct Access
{
    bool isReadable = false;
    bool isWritable = false;
};

void print(const RKMediaFormat& format, const Access& access)
{
    const QStringList decoders = access.isReadable ? decoderNames(format) : QStringList();
    if (!Output::isText()) {
        Output::printResult({{QStringLiteral("format"), format.defaultExtension()},
            {QStringLiteral("description"), format.description()},
            {QStringLiteral("extensions"), QJsonArray::fromStringList(format.fileExtensions())},
            {QStringLiteral("readable"), access.isReadable},
            {QStringLiteral("writable"), access.isWritable},
            {QStringLiteral("decoders"), QJsonArray::fromStringList(decoders)}});
        return;
    }
    const QString note = access.isReadable ? decoders.join(QStringLiteral(", "))
                                           : QStringLiteral("no decoder in this build");
    const QString line = QStringLiteral("%1%2 %3  %4")
                             .arg(access.isReadable ? u'r' : u'-')
                             .arg(access.isWritable ? u'w' : u' ')
                             .arg(format.defaultExtension().leftJustified(5), format.description());
    Output::print(note.isEmpty() ? line : line + QStringLiteral("  [%1]").arg(note));
}

int listFormats()
{
    const RKMediaFormatList readable = RKMediaLoader::instance()->supportedMediaFormats();
    // Not of all loaders, since videos count as writable but never are.
    const RKMediaFormatList writable = RKImageLoader::instance()->writableMediaFormats();
    for (const RKMediaFormat& format : readable)
        print(format, {true, writable.contains(format)});
    const RKMediaFormatList all = RKMediaFormatList::all();
    for (const RKMediaFormat& format : all) {
        if (!readable.contains(format))
            print(format, {});
    }
    return Output::AllDone;
}

} // namespace

void addFormatsCommand(CLI::App& app, Command& command)
{
    CLI::App* formats = app.add_subcommand("formats", "List the readable and writable formats");
    formats->callback([&command] { command.run = listFormats; });
}

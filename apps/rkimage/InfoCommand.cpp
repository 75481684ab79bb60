#include "InfoCommand.h"

#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QString kindOf(const RKMediaFormat& format)
{
    if (format.isVideo())
        return QStringLiteral("video");
    return format.isSVG() ? QStringLiteral("vector") : QStringLiteral("bitmap");
}

QJsonArray toJson(const QSize& size)
{
    return {size.width(), size.height()};
}

/// All that is known of a file; with the key "error" when it could not be read.
QJsonObject describe(const QString& file, MessageCollector& messages)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor descriptor{QFileInfo(file)};
    QJsonObject entry{{QStringLiteral("file"), file}};
    const auto fail = [&entry, &messages](const QString& failure) {
        entry[QStringLiteral("error")] = Output::withReason(failure, messages.takeWarnings());
        return entry;
    };

    messages.takeWarnings();
    if (!descriptor.fileInfo().exists())
        return fail(QStringLiteral("there is no such file"));
    const RKMediaFormat format = loader.mediaFormat(descriptor);
    if (!loader.supportsMediaFormat(format))
        return fail(QStringLiteral("the format is not supported"));

    entry[QStringLiteral("format")] = format.defaultExtension();
    entry[QStringLiteral("description")] = format.description();
    entry[QStringLiteral("kind")] = kindOf(format);
    const QSize size = loader.size(descriptor);
    if (!size.isValid())
        return fail(QStringLiteral("the size can't be measured"));
    entry[QStringLiteral("size")] = toJson(size);
    entry[QStringLiteral("unrotatedSize")] = toJson(loader.unrotatedSize(descriptor));
    entry[QStringLiteral("orientation")] = int(loader.imageOrientation(descriptor));
    return entry;
}

QString toText(const QJsonValue& value)
{
    if (value.isArray()) {
        return QStringLiteral("%1x%2").arg(value[0].toInt()).arg(value[1].toInt());
    }
    return value.toVariant().toString();
}

void printAsText(const QJsonObject& entry)
{
    Output::print(entry[QStringLiteral("file")].toString());
    for (const char* key :
        {"format", "description", "kind", "size", "unrotatedSize", "orientation"}) {
        const auto name = QString::fromLatin1(key);
        Output::print(QStringLiteral("  %1%2").arg(name.leftJustified(15), toText(entry[name])));
    }
}

} // namespace

int runInfoCommand(const QStringList& files, bool json, MessageCollector& messages)
{
    const QString errorKey = QStringLiteral("error");
    int exitCode = Output::AllDone;
    QJsonArray entries;
    for (const QString& file : files) {
        const QJsonObject entry = describe(file, messages);
        if (entry.contains(errorKey)) {
            Output::printFailure(file, entry[errorKey].toString());
            exitCode = Output::SomeFailed;
        } else if (!json) {
            printAsText(entry);
        }
        entries << entry;
    }
    if (json)
        Output::print(QJsonDocument(entries));
    return exitCode;
}

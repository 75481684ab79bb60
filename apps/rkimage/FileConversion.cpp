#include "FileConversion.h"

#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

namespace {

QString decodingFailure(const QSize& size)
{
    if (!size.isValid())
        return QStringLiteral("this is no picture of that format, or a damaged one");
    if (!RKDrawable::isAcceptableSize(size)) {
        return QStringLiteral("%1x%2 pixels are too small or too thin for a picture")
            .arg(size.width())
            .arg(size.height());
    }
    return QStringLiteral("the picture can't be decoded");
}

} // namespace

int FileConversion::run(
    const QString& source, const QString& target, MessageCollector& messages) const
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor from{QFileInfo(source)};
    const RKMediaDescriptor to{QFileInfo(target)};
    const auto fail = [&messages](const QString& file, const QString& failure) {
        Output::printFailure(file, Output::withReason(failure, messages.takeWarnings()));
        return Output::SomeFailed;
    };

    messages.takeWarnings();
    if (!from.fileInfo().exists())
        return fail(source, QStringLiteral("there is no such file"));
    if (!loader.hasSupportedMediaFormat(from))
        return fail(source, QStringLiteral("the format is not supported"));
    // Not asked of all loaders: videos count as writable among them, but no picture becomes one.
    if (!RKImageLoader::instance()->isSupportedWritableFormat(loader.mediaFormat(to)))
        return fail(target, QStringLiteral("the format can't be written"));

    const RKDrawable picture = read(from);
    if (picture.isNull())
        return fail(source, decodingFailure(loader.unrotatedSize(from)));
    Output::printRemarks(source, messages.takeWarnings());
    if (!loader.save(to, picture))
        return fail(target, QStringLiteral("the picture can't be saved"));
    if (finish && !finish(to))
        return fail(target, QStringLiteral("the metadata can't be saved"));
    return Output::AllDone;
}

#include "FileConversion.h"

#include "MessageCollector.h"
#include "Output.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKLoadingError.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

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
    if (!from.fileInfo().exists() || !loader.hasSupportedMediaFormat(from))
        return fail(source, RKLoadingError::of(from).text());
    // Not asked of all loaders: videos count as writable among them, but no picture becomes one.
    if (!RKImageLoader::instance()->bitmapDecoders()->isWritable(loader.mediaFormat(to)))
        return fail(target, QStringLiteral("the format can't be written"));

    const RKDrawable picture = read(from);
    if (picture.isNull())
        return fail(source, RKLoadingError::of(from).text());
    Output::printRemarks(source, messages.takeWarnings());
    if (!loader.save(to, picture))
        return fail(target, QStringLiteral("the picture can't be saved"));
    if (finish && !finish(to))
        return fail(target, QStringLiteral("the metadata can't be saved"));
    return Output::AllDone;
}

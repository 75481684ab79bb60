#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/loading/RKContentFormat_p.h"
#include "RKImageLoader/loading/RKLoadingReason_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"

#include <algorithm>

namespace {

using Code = RKMediaErrorCode;

QString shortName(const RKMediaFormat& format)
{
    return format == MEDIA_FORMAT_JPG ? QStringLiteral("JPEG")
                                      : format.defaultExtension().toUpper();
}

QByteArray startOf(const RKFileSnapshot& file)
{
    QByteArray start;
    file.read(0, std::min(file.size(), RKContentFormat::kStartSize), &start);
    return start;
}

RKMediaError noDecoder(const QString& name)
{
    return RKMediaError(Code::NoDecoder, RKErrorText::tr("There is no decoder for %1.").arg(name));
}

RKMediaError otherContent(const RKMediaFormat& content, const RKMediaFormat& named)
{
    const QString text = RKErrorText::tr("The content is %1, name says %2.");
    return RKMediaError(
        Code::UnknownFormat, text.arg(shortName(content), shortName(named)), content);
}

RKMediaError unsupported(const RKMediaDescriptor& descriptor, const RKFileSnapshot& file)
{
    const RKMediaFormat named = descriptor.mediaFormat();
    if (named != MEDIA_FORMAT_UNKNOWN)
        return noDecoder(shortName(named));
    const QByteArray start = startOf(file);
    if (const QString foreign = RKContentFormat::nameOfForeign(start); !foreign.isEmpty())
        return noDecoder(foreign);
    const QString suffix = descriptor.fileInfo().suffix();
    const QString text = suffix.isEmpty()
        ? RKErrorText::tr("The format is not supported: the name has no suffix.")
        : RKErrorText::tr("The format is not supported: nothing is known of the suffix %1.");
    return RKMediaError(Code::UnknownFormat,
        suffix.isEmpty() ? text : text.arg(suffix),
        RKContentFormat::of(start));
}

/// What keeps the file from being looked into; no error if nothing does.
RKMediaError ofFile(const RKMediaDescriptor& descriptor, const RKFileSnapshot& file)
{
    return RKFileReason::ofReading(
        file.isOpen() ? std::error_code() : file.error(), descriptor.absoluteFilePath());
}

void noteContent(
    const RKMediaDescriptor& descriptor, const RKFileSnapshot& file, RKLoadContext& context)
{
    if (file.size() == 0)
        context.fail(Code::Truncated, RKErrorText::tr("The file is empty."));
    const RKMediaFormat named = descriptor.mediaFormat();
    const QByteArray start = startOf(file);
    const RKMediaFormat content = RKContentFormat::of(start);
    if (const QString foreign = RKContentFormat::nameOfForeign(start); !foreign.isEmpty())
        context.fail(noDecoder(foreign));
    else if (content != MEDIA_FORMAT_UNKNOWN && !RKContentFormat::isReadAs(content, named))
        context.fail(otherContent(content, named));
    else if (RKTruncation::areBoxesCutOff(file))
        context.fail(Code::Truncated);
}

bool isKnown(Code code)
{
    return code != Code::None && code != Code::Damaged;
}

} // namespace

void RKLoadingReason::noteUnsupported(const RKMediaDescriptor& descriptor, RKLoadContext& context)
{
    const RKFileSnapshot file(descriptor.absoluteFilePath());
    context.fail(ofFile(descriptor, file));
    context.fail(unsupported(descriptor, file));
    context.setFilePath(descriptor.absoluteFilePath());
}

void RKLoadingReason::conclude(
    const RKMediaDescriptor& descriptor, Outcome outcome, RKLoadContext& context)
{
    if (outcome == Outcome::Loaded) {
        context.succeed();
    } else if (context.isCancelled()) {
        context.fail(Code::Cancelled);
    } else if (!isKnown(context.error().code())) {
        const RKFileSnapshot file(descriptor.absoluteFilePath());
        context.fail(ofFile(descriptor, file));
        if (file.isOpen())
            noteContent(descriptor, file, context);
        context.fail(Code::Damaged);
    }
    context.setFilePath(descriptor.absoluteFilePath());
}

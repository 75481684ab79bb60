#include "ClipCommand.h"

#include "FileConversion.h"
#include "RKImageLoader/loading/RKImageClipper.h"

int runClipCommand(const QString& source,
    const QString& target,
    const ClipOptions& options,
    MessageCollector& messages)
{
    FileConversion conversion;
    conversion.read = [&options](const RKMediaDescriptor& from) {
        return RKDrawable(RKImageClipper().clipForProduction(from,
            options.rect,
            options.production,
            options.dpi,
            options.upscaling == ClipOptions::Upscaling::Allowed));
    };
    return conversion.run(source, target, messages);
}

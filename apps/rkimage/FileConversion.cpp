#include "FileConversion.h"

#include "Output.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "Writing.h"

int FileConversion::run(const QString& source, const QString& target) const
{
    const RKMediaDescriptor from{QFileInfo(source)};
    const RKMediaDescriptor to{QFileInfo(target)};
    if (const RKMediaError error = Writing::formatError(to); error.isError())
        return Output::fail(target, error);

    RKMediaError error;
    const RKDrawable picture = read(from, &error);
    // Also of a picture that is not whole.
    if (error.isError())
        Output::fail(source, error);
    if (picture.isNull())
        return Output::SomeFailed;
    RKMediaError saveError;
    if (!RKMediaLoader::instance()->save(to, picture, &saveError)
        || (finish && !finish(to, &saveError)))
        return Output::fail(target, saveError);
    return error.isError() ? Output::SomeFailed : Output::AllDone;
}

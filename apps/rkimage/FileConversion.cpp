#include "FileConversion.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "Writing.h"

Result FileConversion::run(const InputFile& source, const QString& target) const
{
    Result result(source);
    const RKMediaDescriptor to{QFileInfo(target)};
    if (const RKMediaError error = Writing::formatError(to); error.isError()) {
        result.fail(target, error);
        return result;
    }

    RKMediaError error;
    const RKDrawable picture = read(RKMediaDescriptor(QFileInfo(source.path)), &error);
    // Also of a picture that is not whole.
    if (error.isError())
        result.fail(error);
    if (picture.isNull())
        return result;
    RKMediaError saveError;
    if (RKMediaLoader::instance()->save(to, picture, &saveError)
        && (!finish || finish(to, &saveError)))
        result.addWritten(target, picture.size());
    else
        result.fail(target, saveError);
    return result;
}

#include "FileConversion.h"

#include "RKImageLoader/loading/RKMediaLoader.h"

Result FileConversion::run(const InputFile& source, const OutputFile& target) const
{
    Result result(source);
    const RKMediaDescriptor to = target.descriptor();
    const QString name = target.name();
    if (const RKMediaError error = target.error(); error.isError()) {
        result.fail(name, error);
        return result;
    }
    if (!target.isStandardOutput() && source.isAt(name)) {
        result.fail(name,
            RKMediaError(RKMediaErrorCode::NotWritable, QStringLiteral("is the picture itself")));
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
        && (!finish || finish(to, &saveError)) && target.finish(&saveError))
        result.addWritten(name, picture.size());
    else
        result.fail(name, saveError);
    return result;
}

#include "RKImageLoader/files/RKFileSaving.h"

#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"

RKMediaError RKFileSaving::write(const QString& path, const QByteArray& content)
{
    RKSafeFileWriter writer(path);
    return writer.write(content) == RKSafeFileWriter::Result::Done
        ? RKMediaError()
        : RKFileReason::ofWriting(writer.error(), path);
}

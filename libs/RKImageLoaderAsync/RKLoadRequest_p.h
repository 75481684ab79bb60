#pragma once

#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QHashFunctions>
#include <QSize>
#include <QString>

/// What a request asks for. Equal requests have the same result as long as the file stays the same.
struct RKLoadRequest
{
    RKLoadRequest(const RKMediaDescriptor& descriptor, const QSize& size, RKImageOption options)
        : path(descriptor.absoluteFilePath())
        , frame(descriptor.frameIndex().frame())
        , wanted(size.isValid() ? size : QSize())
        , option(options)
    {
    }

    /// With a QFileInfo of its own: copies of one may not be used by several threads.
    RKMediaDescriptor descriptor() const
    {
        return {QFileInfo(path), RKVideoFrameIndex(frame)};
    }

    bool operator==(const RKLoadRequest& other) const
    {
        return path == other.path && frame == other.frame && wanted == other.wanted
            && option.flags() == other.option.flags();
    }

    QString path;
    int frame;
    QSize wanted;
    RKImageOption option;
};

inline size_t qHash(const RKLoadRequest& request, size_t seed = 0)
{
    return qHashMulti(seed,
        request.path,
        request.frame,
        request.wanted.width(),
        request.wanted.height(),
        request.option.flags());
}

#pragma once

#include "imageformats/common/RKPictureHandler.h"

#include <QImageIOPlugin>

#include <algorithm>

/// Offers a format of RKPictureHandler to Qt. Files are recognised by their content, so that one
/// with a wrong extension is left to the reader that knows it.
template <typename Picture>
class RKPicturePlugin : public QImageIOPlugin
{
public:
    Capabilities capabilities(QIODevice* device, const QByteArray& format) const override
    {
        // Without bytes, the question is whether the format is known at all.
        if (device && !device->atEnd())
            return RKPictureHandler<Picture>::canRead(device) ? CanRead : Capabilities();
        const auto& keys = Picture::kKeys;
        return std::find(keys.begin(), keys.end(), format) != keys.end() ? CanRead : Capabilities();
    }

    QImageIOHandler* create(QIODevice* device, const QByteArray& format) const override
    {
        auto* const handler = new RKPictureHandler<Picture>;
        handler->setDevice(device);
        handler->setFormat(format.isEmpty() ? QByteArray(Picture::kKeys[0]) : format);
        return handler;
    }
};

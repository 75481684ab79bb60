#pragma once

#include "Fuzzing.h"
#include "imageformats/common/RKPictureHandler.h"

#include <QBuffer>
#include <QImage>

#include <cstdlib>

/// Measures and reads a file of a plug-in, whole and small. The picture has the size that was
/// measured.
template <typename Picture>
int readWhole(const uint8_t* data, size_t size)
{
    const QByteArray file = quietInput(data, size);
    for (const QSize& wanted : {QSize(), QSize(16, 16)}) {
        QBuffer buffer;
        buffer.setData(file);
        buffer.open(QIODevice::ReadOnly);
        RKPictureHandler<Picture> handler;
        handler.setDevice(&buffer);
        const QSize told = handler.option(QImageIOHandler::Size).toSize();
        // Larger ones are no more than slow.
        constexpr int kMaxPixels = 1 << 16;
        if (told.width() * qint64(told.height()) > kMaxPixels)
            continue;
        if (wanted.isValid())
            handler.setOption(QImageIOHandler::ScaledSize, wanted);
        QImage image;
        if (handler.read(&image) && image.size() != (wanted.isValid() ? wanted : told))
            std::abort();
    }
    return 0;
}

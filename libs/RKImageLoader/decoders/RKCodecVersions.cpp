#include "RKImageLoader/decoders/RKCodecVersions_p.h"

#include <tiffio.h>
#include <webp/decode.h>

QString RKCodecVersions::libtiff()
{
    // "LIBTIFF, Version 4.5.0" and a line of copyright.
    const QString line = QString::fromLatin1(TIFFGetVersion()).section(u'\n', 0, 0);
    return line.section(u' ', -1);
}

QString RKCodecVersions::libwebp()
{
    // A byte for each of the three numbers.
    const int version = WebPGetDecoderVersion();
    return QStringLiteral("%1.%2.%3")
        .arg((version >> 16) & 0xff)
        .arg((version >> 8) & 0xff)
        .arg(version & 0xff);
}

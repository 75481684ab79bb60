#include "RKImageLoader/loading/RKImageLoaderInfo.h"

#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/decoders/RKCodecVersions_p.h"
#include "RKImageLoader/guards/RKGzip_p.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Version_p.h"
#ifdef RK_HAS_VIDEO
#    include "RKImageLoader/video/RKFfmpegModule_p.h"
#endif

#include <QCoreApplication>

QStringList RKImageLoaderInfo::copyrights() const
{
    return {RKExiv2Wrapper::copyright(),
        QCoreApplication::translate("RKImageLoaderInfo",
            "SampleICC © 2003-2010 The International Color Consortium. All rights reserved."),
        QCoreApplication::translate("RKImageLoaderInfo",
            "This software uses libraries from the FFmpeg project under the LGPLv2.1")};
}

QList<RKThirdParty> RKImageLoaderInfo::thirdParties() const
{
    const auto text = [](const char* latin1) { return QString::fromLatin1(latin1); };
    const auto qt = text("LGPL-3.0-only OR GPL-2.0-only OR GPL-3.0-only");
    QList<RKThirdParty> list{{text("Qt"), text(qVersion()), qt, text("https://www.qt.io")},
        {text("exiv2"),
            RKExiv2Version::running(),
            text("GPL-2.0-or-later"),
            text("https://exiv2.org")},
        {text("Little CMS"), RKLcms::version(), text("MIT"), text("https://www.littlecms.com")},
        {text("libtiff"),
            RKCodecVersions::libtiff(),
            text("libtiff"),
            text("https://libtiff.gitlab.io/libtiff")},
        {text("libwebp"),
            RKCodecVersions::libwebp(),
            text("BSD-3-Clause"),
            text("https://developers.google.com/speed/webp")},
        {text("zlib"), RKGzip::zlibVersion(), text("Zlib"), text("https://zlib.net")}};
#ifdef RK_HAS_SVG
    list << RKThirdParty{text("Qt SVG"), text(qVersion()), qt, text("https://www.qt.io")};
#endif
#ifdef RK_HAS_RAW
    list << RKThirdParty{text("LibRaw"),
        RKCodecVersions::libraw(),
        text("LGPL-2.1-only OR CDDL-1.0"),
        text("https://www.libraw.org")};
#endif
#ifdef RK_HAS_VIDEO
    if (const auto [version, license] = RKFfmpegModule::description(); !version.isEmpty())
        list << RKThirdParty{text("FFmpeg"), version, license, text("https://ffmpeg.org")};
#endif
#ifdef RK_HAS_HEIF
    list << RKThirdParty{text("libheif"),
        {},
        text("LGPL-3.0-or-later"),
        text("https://github.com/strukturag/libheif")};
#endif
#ifdef RK_HAS_JPEG2000
    list << RKThirdParty{
        text("OpenJPEG"), {}, text("BSD-2-Clause"), text("https://www.openjpeg.org")};
#endif
    return list;
}

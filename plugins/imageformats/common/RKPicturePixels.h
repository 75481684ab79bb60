#pragma once

#include <QByteArray>
#include <QColorSpace>
#include <QImage>

/// What is the same for decoded pixels of every format: their size, format and colour profile.
namespace RKPicturePixels {

/// Larger ones are no profiles of pictures.
inline constexpr qint64 kMaxProfileSize = 16 << 20;

/// The colour space that the values of an ICC profile are of: "RGB ", "GRAY", "CMYK"; empty where
/// there is no profile (ICC.1:2010, 7.2.6).
inline QByteArray profileSpace(const QByteArray& profile)
{
    return profile.mid(16, 4);
}

/// Invalid where Qt can't make anything of the profile.
inline QColorSpace colorSpaceOf(QByteArray profile)
{
    // Qt 6.4 knows the classes of displays and of colour spaces. Those of input devices, of which
    // it reads curves and primaries, mean the same (ICC.1:2010, 8.3 and 8.4).
    constexpr qsizetype kClass = 12;
    if (profile.mid(kClass, 4) == "scnr")
        profile.replace(kClass, 4, "mntr");
    return QColorSpace::fromIccProfile(profile);
}

/// Gives the pixels the meaning that the profile says. Those of an RGB profile stay as they are.
/// Grey ones are converted to sRGB: as RGB pixels they no longer fit the profile.
inline void applyProfile(const QByteArray& profile, QImage& image)
{
    const QByteArray space = profileSpace(profile);
    const bool isGray = space == "GRAY";
    if (space != "RGB " && !(isGray && image.allGray()))
        return;
    const QColorSpace colorSpace = colorSpaceOf(profile);
    if (!colorSpace.isValid())
        return;
    image.setColorSpace(colorSpace);
    if (isGray)
        image.convertToColorSpace(QColorSpace::SRgb);
}

/// Decoded pixels in the wanted size, as RGB32 or ARGB32, with the profile (may be empty) applied.
/// A null picture stays null.
inline QImage finished(const QImage& pixels, const QSize& size, const QByteArray& profile)
{
    if (pixels.isNull())
        return {};
    const QImage sized = pixels.size() == size
        ? pixels
        : pixels.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage result = sized.convertToFormat(
        pixels.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    if (!profile.isEmpty())
        applyProfile(profile, result);
    return result;
}

} // namespace RKPicturePixels

#pragma once

#include "support/RKTestPictures.h"

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QtEndian>

#include <array>

/// Short videos in which every frame carries its number in its pixels. The ffmpeg tool encodes
/// them.
namespace RKTestClips {

/// Bits of the number as columns, from the lowest: black and white in the upper third, inverted in
/// the middle one. Noise below makes every frame fill a pack of a program stream, as real ones do.
inline constexpr QSize kSize(176, 144);
inline constexpr int kBits = 11;

struct Clip
{
    const char* name; ///< Of the file; its extension tells the container.
    const char* codec = "libx264";
    const char* options = ""; ///< Further ones of ffmpeg, separated by blanks.
    const char* rate = "25";
    int frames = 150;
};

inline bool canEncode()
{
    return !QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty();
}

inline void ffmpeg(const QStringList& arguments, const QByteArray& input = {})
{
    QProcess process;
    process.start(QStringLiteral("ffmpeg"),
        QStringList{QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")}
            + arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(300000) || process.exitCode() != 0)
        qFatal("ffmpeg: %s", process.readAllStandardError().constData());
}

/// Arguments separated by blanks.
inline QStringList words(const QString& text)
{
    return text.split(u' ', Qt::SkipEmptyParts);
}

/// Frame n, 8 bits of grey.
inline QImage numbered(int n)
{
    QImage image(kSize, QImage::Format_Grayscale8);
    QRandomGenerator random(static_cast<quint32>(n));
    for (int y = 0; y < kSize.height(); ++y) {
        const int third = y / (kSize.height() / 3);
        for (int x = 0; x < kSize.width(); ++x) {
            const bool isSet = ((n >> (x * kBits / kSize.width())) & 1) != (third & 1);
            image.scanLine(y)[x]
                = third == 2 ? uchar(random.bounded(64, 192)) : uchar(isSet ? 255 : 0);
        }
    }
    return image;
}

/// The number in an upright frame of any size; -1 for null, -2 where none can be read.
inline int number(const QImage& image)
{
    if (image.isNull())
        return -1;
    int n = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        const int x = (2 * bit + 1) * image.width() / (2 * kBits);
        const bool isSet = qGray(image.pixel(x, image.height() / 6)) > 127;
        const bool isSetBelow = qGray(image.pixel(x, image.height() / 2)) > 127;
        if (isSet == isSetBelow)
            return -2;
        n |= isSet << bit;
    }
    return n;
}

/// Writes the clip into the folder and returns its path.
inline QString make(const Clip& clip, const QString& folder)
{
    static QByteArray frames;
    const qsizetype size = qsizetype(kSize.width()) * kSize.height();
    for (int n = int(frames.size() / size); n < clip.frames; ++n)
        frames += QByteArray(reinterpret_cast<const char*>(numbered(n).constBits()), size);

    QString path = folder + u'/' + QString::fromLatin1(clip.name);
    ffmpeg(words(QStringLiteral("-f rawvideo -pix_fmt gray -s 176x144 -r %1 -i pipe:0 -c:v %2 "
                                "-pix_fmt yuv420p -g 25 -threads 1 %3")
                     .arg(QString::fromLatin1(clip.rate),
                         QString::fromLatin1(clip.codec),
                         QString::fromLatin1(clip.options)))
            + QStringList(path),
        frames.left(clip.frames * size));
    return path;
}

/// Changes the first display matrix of an MP4 or QuickTime file: a, b, u, c, d, v, x, y, w.
/// ISO/IEC 14496-12, 8.3.2 (track header box, version 0).
inline void setDisplayMatrix(const QString& path, const std::array<qint32, 9>& matrix)
{
    constexpr qsizetype kMatrix = 44;
    QByteArray bytes = RKTestPictures::read(path);
    const qsizetype box = bytes.indexOf("tkhd");
    if (box < 0 || box + kMatrix + 36 > bytes.size())
        qFatal("no track header in %s", qPrintable(path));
    for (qsizetype i = 0; i < 9; ++i)
        qToBigEndian(matrix[size_t(i)], bytes.data() + box + kMatrix + i * 4);
    RKTestPictures::write(path, bytes);
}

/// A picture turned clockwise for display by 0, 90, 180 or 270 degrees; before that, mirrored at
/// its middle row if so wished.
constexpr std::array<qint32, 9> displayMatrix(int degrees, bool isMirrored = false)
{
    constexpr qint32 kOne = 0x10000;
    const qint32 cosine = degrees == 0 ? kOne : degrees == 180 ? -kOne : 0;
    const qint32 sine = degrees == 90 ? kOne : degrees == 270 ? -kOne : 0;
    const qint32 way = isMirrored ? -1 : 1;
    return {cosine, sine, 0, -sine * way, cosine * way, 0, 0, 0, 0x40000000};
}

} // namespace RKTestClips

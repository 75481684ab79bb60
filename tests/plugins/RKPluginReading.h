#pragma once

#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>

/// Reads files with a plug-in that is linked to the test, as any program would.
namespace RKPluginReading {

using RKTestPictures::difference;

inline constexpr qint64 kSoon = 2000;

inline QImage read(const QByteArray& file, const QSize& scaled = {})
{
    QBuffer buffer;
    buffer.setData(file);
    QImageReader reader(&buffer);
    // Whatever a plug-in does wrong shows with it.
    reader.setAutoTransform(true);
    if (scaled.isValid())
        reader.setScaledSize(scaled);
    return reader.read();
}

inline QSize size(const QByteArray& file)
{
    QBuffer buffer;
    buffer.setData(file);
    return QImageReader(&buffer).size();
}

/// The file is neither measured nor read, and soon left.
inline bool isRefused(const QByteArray& file)
{
    const qint64 start = RKTimeLimit::worked();
    return !size(file).isValid() && read(file).isNull()
        && RKTimeLimit::worked(start) < RKTimeLimit::milliseconds(kSoon);
}

/// Every beginning of the file is refused, and soon.
inline bool areBeginningsRefused(const QByteArray& file, qsizetype end)
{
    const qint64 start = RKTimeLimit::worked();
    for (qsizetype length = 0; length < end; ++length) {
        if (!read(file.first(length)).isNull())
            return false;
    }
    return RKTimeLimit::worked(start) < RKTimeLimit::milliseconds(kSoon);
}

} // namespace RKPluginReading

#pragma once

#include <QByteArrayView>
#include <QSize>

#include <optional>

/// What the first directory of a TIFF file claims, and what its strips or tiles can hold in their
/// compression (TIFF 6.0; BigTIFF). Qt's reader decodes that directory.
struct RKTiffClaim
{
    QSize size;
    /// The stored samples, decompressed.
    qint64 decodedBytes = 0;
    /// The largest strip or tile, which is decompressed at once.
    qint64 largestPart = 0;
    /// What a QImage of the picture takes.
    qint64 imageBytes = 0;
    /// Samples that Qt's reader refuses, loses or takes for others.
    enum class Samples
    {
        Common,
        DeepColors, ///< RGB of 16 bits in planes, or with more than one more sample
        GrayAndAlpha,
        DeepInks, ///< CMYK of 16 bits
        Lab, ///< CIE Lab
        ByteColors, ///< a palette of colours with 8 bits instead of 16
    };
    Samples samples = Samples::Common;
    /// Whether it is grey or RGB of 8 or 16 bits, perhaps with one more sample, pixel by pixel, and
    /// a row of it, or of its tiles, is short enough to be held beside others.
    bool hasPlainRows = false;
    /// Whether the compressed bytes can hold the decoded ones.
    bool isCovered = false;

    /// nullopt if the data is not a TIFF file, or has no directory that can be read.
    static std::optional<RKTiffClaim> read(QByteArrayView data);
};

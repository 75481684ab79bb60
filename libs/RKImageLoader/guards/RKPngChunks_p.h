#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QRgba64>

#include <optional>

class QIODevice;

/// The chunks of a PNG file (ISO/IEC 15948, 5.3), checked before a decoder sees them.
///
/// Decoders take the memory that a chunk's length asks for before they miss its bytes, and they
/// inflate every text, twice, whether anybody wants it or not. Reentrant.
class RKPngChunks
{
public:
    RKPngChunks() = delete;

    static bool isPng(QByteArrayView data);

    /// Whether the end chunk is missing, or comes after one that is cut off.
    static bool isCutOff(QByteArrayView data);

    /// Whether all chunks but those of pixels lie inside the data, and texts don't expand too much.
    static bool areHarmless(QByteArrayView data);

    /// The file without texts that expand too much, without transparentColor(), and without a chunk
    /// after the pixels that is cut off. Itself if it is harmless or not PNG; empty if a chunk
    /// before the pixels is cut off.
    static QByteArray repaired(const QByteArray& data);

    /// The colour that a truecolour picture of 16 bits a channel declares transparent (11.3.2.1).
    /// Qt 6.4 takes the pixels of such a picture for narrower than they are, and shows what was in
    /// memory before.
    static std::optional<QRgba64> transparentColor(QByteArrayView data);

    /// What comes before the pixels, repaired; enough to measure the picture. The device is read
    /// from its start.
    static QByteArray header(QIODevice& device);
};

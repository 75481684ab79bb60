#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArrayView>
#include <QSize>

/// Finds files that end too early, as after a download that broke off. Decoders fill up what they
/// miss, or call such files damaged. Reentrant.
class RKTruncation
{
public:
    RKTruncation() = delete;

    /// The file's own structure goes on after its last byte: a JPEG, PNG, WebP, HEIF or JPEG 2000
    /// file, or a TIFF file whose pixels lie beyond its end. False for all others.
    static bool isCutOff(QByteArrayView data);

    /// Why a file can't hold the picture of its header: it has lost its end, or asks for so much
    /// that it never had one.
    static RKMediaError reasonForClaim(QByteArrayView data, const QSize& size);

private:
    static bool isJpegCutOff(QByteArrayView data);
    static bool areBoxesCutOff(QByteArrayView data);
};

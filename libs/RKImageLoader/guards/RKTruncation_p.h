#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"
#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArrayView>
#include <QSize>

/// Finds files that end too early, as after a download that broke off. Decoders fill up what they
/// miss, or call such files damaged. Reentrant.
class RKTruncation
{
public:
    RKTruncation() = delete;

    /// The file's own structure goes on after its last byte: a JPEG, PNG, GIF, WebP, HEIF or JPEG
    /// 2000 file, or a TIFF file whose pixels lie beyond its end. False for all others.
    static bool isCutOff(QByteArrayView data);
    /// A file in boxes goes on after its last byte, a video for instance; reads a few bytes of each
    /// box (ISO/IEC 14496-12, 4.2; the boxes of JPEG 2000 are the same). False for all others.
    static bool areBoxesCutOff(const RKByteSource& file);

    /// Why a file can't hold the picture of its header: it has lost its end, or asks for so much
    /// that it never had one.
    static RKMediaError reasonForClaim(QByteArrayView data, const QSize& size);

private:
    static bool isJpegCutOff(QByteArrayView data);
};

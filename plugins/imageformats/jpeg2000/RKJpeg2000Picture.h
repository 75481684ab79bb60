#pragma once

#include "imageformats/common/RKOpenPicture.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <array>
#include <memory>

/// A JPEG 2000 picture, as a JP2 file or as a bare code stream, read with OpenJPEG.
///
/// Grey, RGB, YCC and CMYK with and without transparency, palettes, and samples of any depth and
/// sign become RGB with 8 bits. RGB profiles are set as the image's colour space; grey ones are
/// applied. CMYK becomes RGB without regard to a profile, in the usual way that can be undone.
class RKJpeg2000Picture
{
public:
    static constexpr std::array kKeys{"jp2", "j2k", "jpc"};
    static constexpr qint64 kStartSize = 12;

    static bool isRecognized(const QByteArray& start);
    static std::unique_ptr<RKJpeg2000Picture> open(const QByteArray& file);

    ~RKJpeg2000Picture();

    QSize size() const;

    /// Levels of the wavelet transform that a small picture doesn't need are left out.
    QImage decode(const QSize& size, const RKStopQuestion& mustStop);

private:
    class Decoder;
    explicit RKJpeg2000Picture(std::unique_ptr<Decoder> decoder, const QByteArray& file);

    QByteArray m_file;
    std::unique_ptr<Decoder> m_decoder;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaFormatList.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/video/RKFramesPerSecond.h"

#include <QImage>
#include <QSize>
#include <QString>

/// Measures the videos of some formats and decodes their frames. Thread-safe.
///
/// A descriptor names the file and the frame; without a frame it means the default one. Frames and
/// sizes are upright, in pixels. What can't be found out is an empty value: a null picture, an
/// invalid size, a null rate, an empty text. Overloads with a trailing RKLoadContext also note the
/// reason, as far as they know it, and give up when the request is cancelled; unless overridden,
/// they call the overload without it.
class RKIMAGELOADER_EXPORT RKVideoDecoder
{
public:
    RKVideoDecoder() = default;
    virtual ~RKVideoDecoder();

    RKVideoDecoder(const RKVideoDecoder&) = delete;
    RKVideoDecoder& operator=(const RKVideoDecoder&) = delete;

    /// The formats that it decodes, in the order in which they are offered.
    virtual RKMediaFormatList supportedVideoFileFormats() const = 0;

    /// The frame, fitted into the wanted size with its proportions kept; it may grow. A wanted size
    /// with a negative side means full size.
    virtual QImage decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const = 0;
    /// The same as a drawable.
    virtual RKDrawable decodeDrawable(
        const RKMediaDescriptor& descriptor, const QSize& wanted) const;
    virtual QImage decode(
        const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const;
    virtual RKDrawable decodeDrawable(
        const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const;

    /// Size, date, camera model, path and, as the description, the number of the frame asked for.
    virtual RKMetaData metaData(const RKMediaDescriptor& descriptor) const = 0;

    /// The size of the frames as decode() gives them at full size; invalid if the file can't be
    /// opened.
    virtual QSize size(const RKMediaDescriptor& descriptor) const = 0;
    virtual QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    /// The rate that the file claims; if it varies, one that all its times fit. Null if the file
    /// can't be opened.
    virtual RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const = 0;
    /// The length in ms that the file claims; 0 if unknown, -1 if the file can't be opened.
    virtual int durationInMS(const RKMediaDescriptor& descriptor) const = 0;
    /// The name of the codec that decodes the video.
    virtual QString usedCodec(const RKMediaDescriptor& descriptor) const = 0;

    /// Closes all files that are kept open so that later requests are answered fast.
    virtual void freeResources() const = 0;
    /// Closes the descriptor's file. Call it before the file is changed or replaced, since an open
    /// one keeps giving what was there before.
    virtual void freeResource(const RKMediaDescriptor& descriptor) const = 0;

    /// By how many degrees the stored frames have been turned clockwise to stand upright. 0 unless
    /// overridden.
    virtual int rotation(const RKMediaDescriptor& descriptor) const;

    /// The last frame that can be decoded; the length may promise more. No frame if there is none.
    /// Unless overridden, it is calculated from the rate and the length.
    virtual RKVideoFrameIndex lastFrameIndex(const RKMediaDescriptor& descriptor) const;

    /// The frame that is shown if none is asked for: the middle of the video, but at most five
    /// seconds in. It need not exist, since it is calculated from the rate and the length alone.
    RKVideoFrameIndex defaultFrameIndex(const RKMediaDescriptor& descriptor) const;
};

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
/// sizes are upright, in pixels. What a file can't tell is an empty value: a null picture, an
/// invalid size, a null rate, an empty text. The functions with a trailing RKLoadContext also note
/// why, as far as they know, and give up when its request was cancelled; those of a decoder that
/// doesn't override them call the ones without.
class RKIMAGELOADER_EXPORT RKVideoDecoder
{
public:
    RKVideoDecoder() = default;
    virtual ~RKVideoDecoder();

    RKVideoDecoder(const RKVideoDecoder&) = delete;
    RKVideoDecoder& operator=(const RKVideoDecoder&) = delete;

    /// In the order in which they are offered.
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

    /// The size of the frames as decode() gives them at full size; invalid when the file can't be
    /// opened.
    virtual QSize size(const RKMediaDescriptor& descriptor) const = 0;
    virtual QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    /// The rate that the file claims: one that all its times fit where it varies. Null when the
    /// file can't be opened.
    virtual RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const = 0;
    /// The length in milliseconds, as the file claims it; -1 when the file can't be opened.
    virtual int durationInMS(const RKMediaDescriptor& descriptor) const = 0;
    /// The name of the codec that decodes the video.
    virtual QString usedCodec(const RKMediaDescriptor& descriptor) const = 0;

    /// Closes all files that are held open to answer the next request fast.
    virtual void freeResources() const = 0;
    /// Closes the descriptor's file. Needed before the file is changed or replaced, since an open
    /// one goes on answering from what it was.
    virtual void freeResource(const RKMediaDescriptor& descriptor) const = 0;

    /// By how many degrees the stored frames have been turned clockwise to stand upright. 0 unless
    /// a decoder knows better.
    virtual int rotation(const RKMediaDescriptor& descriptor) const;

    /// The last frame that can be had; the length may promise more. No frame if there is none.
    /// Unless a decoder knows better, it follows from the rate and the length.
    virtual RKVideoFrameIndex lastFrameIndex(const RKMediaDescriptor& descriptor) const;

    /// The frame that is shown when none is asked for: the middle of the video, but at most five
    /// seconds in. It need not exist, since it follows from the rate and the length alone.
    RKVideoFrameIndex defaultFrameIndex(const RKMediaDescriptor& descriptor) const;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/video/RKVideoDecoder.h"

#include "RKCore/RKSingleton.h"

#include <map>
#include <memory>
#include <vector>

class QFileInfo;

/// Knows which decoder reads which video format and hands requests to it. Thread-safe.
///
/// For a format without a decoder the results are empty values, and a trailing RKLoadContext gets
/// RKMediaErrorCode::NoDecoder. For all others see RKVideoDecoder.
class RKIMAGELOADER_EXPORT RKVideoDecoderRegistry : public RKSingleton<RKVideoDecoderRegistry>
{
public:
    RKVideoDecoderRegistry();
    ~RKVideoDecoderRegistry() override;

    /// Every format once, in the order of the decoders.
    RKMediaFormatList supportedMediaFormats() const;
    /// Whether the file's name has an extension of a supported format, in lower or upper case.
    bool hasSupportedFileFormat(const QFileInfo& file) const;
    /// Null if there is none. It lives as long as the registry, which owns it.
    RKVideoDecoder* decoder(const RKMediaFormat& format) const;

    /// What the decoder of the descriptor's format returns.
    /// @{
    RKDrawable decodeDrawable(const RKMediaDescriptor& descriptor, const QSize& wanted) const;
    RKDrawable decodeDrawable(
        const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const;
    QSize size(const RKMediaDescriptor& descriptor) const;
    QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    RKMetaData metaData(const RKMediaDescriptor& descriptor) const;
    RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const;
    /// @}
    /// In milliseconds; 0 for a format without a decoder.
    int durationInMS(const RKMediaDescriptor& descriptor) const;
    /// As above; the rotation is 0 for a format without a decoder.
    /// @{
    QString usedCodec(const RKMediaDescriptor& descriptor) const;
    int rotation(const RKMediaDescriptor& descriptor) const;
    RKVideoFrameIndex lastFrameIndex(const RKMediaDescriptor& descriptor) const;
    /// @}
    /// Frame 0 for a format without a decoder.
    RKVideoFrameIndex defaultFrameIndex(const RKMediaDescriptor& descriptor) const;

    /// Closes all open videos of all decoders. Call it when the host is done with videos for a
    /// while: each may hold 40 to 160 MB.
    void freeResources() const;
    /// Closes the descriptor's file; see RKVideoDecoder::freeResource().
    void freeResource(const RKMediaDescriptor& descriptor) const;

private:
    void init();
    const RKVideoDecoder* decoderOf(const RKMediaDescriptor& descriptor) const;
    /// Notes it when there is none.
    const RKVideoDecoder* decoderOf(
        const RKMediaDescriptor& descriptor, RKLoadContext& context) const;

    // Never changed after construction, so there is no lock.
    std::vector<std::unique_ptr<RKVideoDecoder>> m_ownedDecoders;
    std::map<RKMediaFormat, RKVideoDecoder*> m_decoders;
    RKMediaFormatList m_formats;
};

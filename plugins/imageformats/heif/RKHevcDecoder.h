#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

/// Decodes pictures of HEVC with libavcodec, one after the other. Throws nothing.
class RKHevcDecoder
{
public:
    template <auto release>
    struct Deleter
    {
        template <typename Object>
        void operator()(Object* object) const
        {
            release(&object);
        }
    };

    using Frame = std::unique_ptr<AVFrame, Deleter<av_frame_free>>;
    using Packet = std::unique_ptr<AVPacket, Deleter<av_packet_free>>;

    static bool isAvailable();

    RKHevcDecoder();

    /// The picture that the NAL units make, each with its length in 4 bytes before it; the
    /// parameter sets are among them. Null if anything is damaged or missing.
    Frame decode(const AVPacket& units);

private:
    std::unique_ptr<AVCodecContext, Deleter<avcodec_free_context>> m_context;
};

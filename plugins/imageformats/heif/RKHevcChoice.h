#pragma once

#include <QtGlobal>

/// Chooses what libheif decodes HEVC with while it lives: its own decoder, libde265 as a rule, or
/// libavcodec. Both give the same pixels, and libavcodec takes less time. Where it notices damage
/// it gives no picture, while libde265 gives what it can; damage that both pass over looks
/// different.
///
/// libheif has one list of decoders for the whole process and takes the one with the highest
/// priority. Ours has none but on the threads that chose it, so that other code that uses libheif
/// keeps its decoder. There is one exception: libheif starts threads of its own for tiles, and
/// these can't be told apart. While a picture is decoded in such threads, other code may get
/// libavcodec. (Naming a decoder in heif_decoding_options would be better still, but libheif 1.15
/// doesn't heed the name for tiles.)
///
/// Thread-safe; at most one lives on each thread. The first one adds the decoder to libheif's list,
/// which has no lock and from which nothing can be removed.
class RKHevcChoice
{
public:
    enum class Decoder
    {
        Libheif, ///< Its own, on this thread.
        Libavcodec, ///< On this thread.
        LibavcodecInThreads, ///< And on those that libheif starts.
    };

    /// False where libavcodec isn't there; then every choice is libheif's decoder.
    static bool hasLibavcodec();

    explicit RKHevcChoice(Decoder decoder);
    ~RKHevcChoice();

    Q_DISABLE_COPY_MOVE(RKHevcChoice)

private:
    Decoder m_decoder;
};

#pragma once

#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <vector>

/// Finds the key frames of files whose index is missing or incomplete, because they were cut off or
/// their writer could not go back. Goes from header to header and leaves out the pictures, which
/// FFmpeg would read.
///
/// The layouts are those of RIFF (AVI, with OpenDML's extensions), FLV 10.1 annex E and RFC 9559
/// (Matroska).
namespace RKKeyFrameScan {

/// What FFmpeg's index holds for a packet.
struct Entry
{
    qint64 position = 0; ///< Of the chunk or tag; of the cluster in Matroska.
    qint64 timestamp = 0;
    int size = 0;
    bool isKey = true;
};

bool isIntraOnly(AVCodecID codec);

/// The entries after a known one, with ascending times; for AVI all frames, for other containers
/// only key frames. Frames of codecs that don't show their key frames are not taken for key frames.
/// Empty if there are none, or if the container is of another kind.
///
/// @param format the name of FFmpeg's demuxer
/// @param stream its number in the file
std::vector<Entry> entriesAfter(
    const Entry& known, const QString& path, const QString& format, int stream, AVCodecID codec);

} // namespace RKKeyFrameScan

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The least that a file's codec needs to give its picture or metadata: the limit for programs that
/// use it. Colours stay in their profile and pictures lie as they are stored. Each codec has a
/// source of its own, so that a program of one codec starts with its libraries only.
namespace BareCodec {

/// Rows from the top without gaps, 8 bits for each of one or three channels (RGB).
struct Picture
{
    int width = 0;
    int height = 0;
    int channels = 3;
    std::unique_ptr<uint8_t[]> pixels = {};

    size_t size() const
    {
        return size_t(width) * size_t(height) * size_t(channels);
    }
};

/// The smallest size that the codec itself makes and into which width x height fits with the
/// proportions of the picture; the whole picture for 0 x 0 and codecs that can't make it smaller.
/// Ends the program with a message where the file can't be read.
Picture jpeg(const std::string& path, int width, int height);
Picture jpegStream(const uint8_t* stream, size_t size, int width, int height);
Picture png(const std::string& path, int width, int height);
Picture webp(const std::string& path, int width, int height);
/// The brightness only: HEVC has no RGB.
Picture heic(const std::string& path, int width, int height);
Picture jpeg2000(const std::string& path, int width, int height);
/// The camera's preview, if it is large enough, or half the size.
Picture raw(const std::string& path, int width, int height);

/// Reads all metadata and returns the number of tags.
size_t metadata(const std::vector<std::string>& paths);

[[noreturn]] void fail(const std::string& path);
std::vector<uint8_t> bytes(const std::string& path);

} // namespace BareCodec

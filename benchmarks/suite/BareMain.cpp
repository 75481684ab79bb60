// A program of one codec, BARE_CODEC.
// Usage: FILE OUT [WIDTH HEIGHT] for pictures, which become PNM files; FILE... for metadata.

#include "BareCodec.h"

#include <cstdio>
#include <cstdlib>

namespace {

using Arguments = std::vector<std::string>;

[[maybe_unused]] void run(
    BareCodec::Picture (*decode)(const std::string&, int, int), const Arguments& arguments)
{
    if (arguments.size() < 2)
        BareCodec::fail("without a source and a target");
    const bool isScaled = arguments.size() > 3;
    const BareCodec::Picture picture = decode(arguments[0],
        isScaled ? std::atoi(arguments[2].c_str()) : 0,
        isScaled ? std::atoi(arguments[3].c_str()) : 0);
    std::FILE* const file = std::fopen(arguments[1].c_str(), "wb");
    if (!file)
        BareCodec::fail(arguments[1]);
    std::fprintf(
        file, "P%d %d %d 255\n", picture.channels == 3 ? 6 : 5, picture.width, picture.height);
    std::fwrite(picture.pixels.get(), 1, picture.size(), file);
    std::fclose(file);
}

[[maybe_unused]] void run(size_t (*read)(const Arguments&), const Arguments& arguments)
{
    std::printf("%zu tags\n", read(arguments));
}

} // namespace

int main(int argc, char** argv)
{
    run(BareCodec::BARE_CODEC, {argv + 1, argv + argc});
}

// Every decoder survives every file. The first byte chooses the format.
#include "Fuzzing.h"
#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"
#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"
#include "RKImageLoader/decoders/RKReducedTiff_p.h"

#include <QGuiApplication>
#include <QImageReader>

#include <array>

namespace {

constexpr std::array kFormats{
    "bmp", "gif", "ico", "jpg", "mng", "pgm", "png", "svg", "tif", "webp", "xbm", "xpm"};

// Fonts, which drawings use, need an application.
void setUp()
{
    static int argumentCount = 1;
    static char name[] = "fuzzer";
    static std::array<char*, 2> arguments{name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static const QGuiApplication application(argumentCount, arguments.data());
    // As the library sets it up in a host.
    QImageReader::setAllocationLimit(0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isSetUp = (setUp(), true);
    Q_UNUSED(isSetUp)
    if (size == 0)
        return 0;

    const QByteArray format = kFormats[data[0] % kFormats.size()];
    const QByteArray file = quietInput(data + 1, size - 1);
    const RKBitmapDecoderQt qt;
    const RKBitmapDecoderSVG svg;
    const RKBitmapDecoder& decoder
        = format == "svg" ? static_cast<const RKBitmapDecoder&>(svg) : qt;
    const QSize stored = decoder.size(file, format);
    // Only larger pictures than these inputs are read so.
    if (format == "tif" && qint64(stored.width()) * stored.height() <= 1 << 20)
        RKReducedTiff::read(file, {2, 1});
    decoder.decode(file, format, {100, 80}, {});
    decoder.decodeDrawable(file, format, {}, {}).image();
    return 0;
}

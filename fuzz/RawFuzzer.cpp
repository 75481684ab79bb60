// Every raw file is measured, and decoded with and without its preview.
#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw.h"

#include <QLoggingCategory>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    const auto file = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    const RKBitmapDecoderLibRaw decoder;
    decoder.size(file, "dng");
    decoder.decode(file, "dng", {40, 30}, {});
    decoder.decode(file, "dng", {}, {});
    return 0;
}

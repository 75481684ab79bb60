// Every Photoshop file is measured, and read as it is and smaller.
#include "RKImageLoader/decoders/RKPhotoshopReader_p.h"

#include <QLoggingCategory>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    const auto file = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    RKPhotoshopReader::size(file);
    RKPhotoshopReader::read(file, {40, 30});
    // Large pictures take their time, which is no finding.
    constexpr qint64 kMaxPixels = 1 << 22;
    const QSize own = RKPhotoshopReader::size(file);
    if (own.isValid() && qint64(own.width()) * own.height() <= kMaxPixels)
        RKPhotoshopReader::read(file, {});
    return 0;
}

#include "imageformats/heif/RKHeifFormat.h"

#include "imageformats/common/RKBigEndianReader.h"

#include <QByteArrayView>

#include <algorithm>

namespace {

// ISO/IEC 23008-12, 10.2 and annex B.4. Files of the general brands hold other codings too; these
// are told when the file is opened.
constexpr std::array kBrands{"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"};

} // namespace

bool RKHeifFormat::isRecognized(const QByteArray& start)
{
    // ISO/IEC 14496-12, 4.3: a major brand, its version, and the compatible ones.
    RKBigEndianReader reader(start);
    const quint64 size = reader.number(4);
    if (reader.bytes(4) != "ftyp")
        return false;
    const QByteArrayView brands
        = QByteArrayView(start).first(qint64(std::min(size, quint64(start.size()))));
    constexpr qsizetype kMajorBrand = 8;
    constexpr qsizetype kBrandSize = 4;
    // AVIF is for readers of its own.
    if (start.mid(kMajorBrand, kBrandSize).startsWith("avi"))
        return false;
    for (qsizetype at = kMajorBrand; at + kBrandSize <= brands.size(); at += kBrandSize) {
        const QByteArrayView brand = brands.sliced(at, kBrandSize);
        if (std::find(kBrands.begin(), kBrands.end(), brand) != kBrands.end())
            return true;
    }
    return false;
}

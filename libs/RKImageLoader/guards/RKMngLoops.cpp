#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKMngLoops_p.h"

#include <QByteArrayView>

#include <algorithm>

namespace {

constexpr qsizetype kSignatureSize = 8;
constexpr qint64 kChunkFrame = 12; // length, type and checksum

} // namespace

bool RKMngLoops::isMng(const QByteArray& data)
{
    return data.startsWith("\x8aMNG");
}

QByteArray RKMngLoops::removed(const QByteArray& data)
{
    if (!isMng(data) || data.size() < kSignatureSize)
        return data;

    QByteArray result = data.left(kSignatureSize);
    result.reserve(data.size());
    QByteArrayView rest = QByteArrayView(data).sliced(kSignatureSize);
    while (rest.size() >= kChunkFrame) {
        const qint64 length = RKByteReader(rest).number<quint32>();
        const qsizetype size = std::min<qint64>(kChunkFrame + length, rest.size());
        const QByteArrayView type = rest.sliced(4, 4);
        if (type != "LOOP" && type != "ENDL")
            result.append(rest.data(), size);
        rest = rest.sliced(size);
    }
    return result.append(rest.data(), rest.size());
}

#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKMngLoops_p.h"

#include <QByteArrayView>

#include <algorithm>

namespace {

constexpr qsizetype kSignatureSize = 8;
constexpr qint64 kChunkFrame = 12; // length, type and checksum
const QByteArray kEnd("\0\0\0\0MEND\x21\x20\xf7\xd5", 12);

/// How many layers libmng may paint onto the canvas, whose size is in the first chunk.
qint64 maxLayers(const QByteArray& data)
{
    RKByteReader header(QByteArrayView(data).sliced(kSignatureSize));
    header.take(8); // length and type
    const qint64 width = header.number<quint32>();
    const qint64 height = header.number<quint32>();
    constexpr qint64 kMost = RKImageLimits::kMaxMngPainted;
    const qint64 canvas = std::min(width, kMost) * std::min(height, kMost);
    return kMost / (canvas + RKImageLimits::kMngLayer);
}

/// Tells the chunks that make libmng paint from the others, in the order of the file.
class LayerFinder
{
public:
    bool paints(QByteArrayView type, QByteArrayView content)
    {
        constexpr qsizetype kDoNotShow = 2; // after the object's number, 4.2.1
        if (type == "DEFI")
            m_isHidden = content.size() > kDoNotShow && content[kDoNotShow] != 0;
        const bool isPicture = type == "IHDR" || type == "JHDR" || type == "DHDR" || type == "BASI";
        return (isPicture && !m_isHidden) || type == "FRAM" || type == "SHOW" || type == "CLON"
            || type == "PAST";
    }

private:
    bool m_isHidden = false;
};

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
    qint64 layersLeft = maxLayers(data);
    LayerFinder layers;
    while (rest.size() >= kChunkFrame) {
        const qint64 length = RKByteReader(rest).number<quint32>();
        const qsizetype size = std::min<qint64>(kChunkFrame + length, rest.size());
        const QByteArrayView type = rest.sliced(4, 4);
        if (layers.paints(type, rest.sliced(8, size - kChunkFrame)) && --layersLeft < 0)
            return result.append(kEnd);
        if (type != "LOOP" && type != "ENDL" && type != "TERM")
            result.append(rest.data(), size);
        rest = rest.sliced(size);
    }
    return result.append(rest.data(), rest.size());
}

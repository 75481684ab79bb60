#include "imageformats/heif/RKHeifReducer.h"

#include "imageformats/common/RKBigEndianReader.h"
#include "imageformats/heif/RKHeifThreads.h"
#include "imageformats/heif/RKHeifTiles.h"
#include "imageformats/heif/RKHevcConfiguration.h"
#include "imageformats/heif/RKHevcDecoder.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <QTransform>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <future>
#include <vector>

namespace {

using Frame = RKHevcDecoder::Frame;

struct ScalerDeleter
{
    void operator()(SwsContext* context) const
    {
        sws_freeContext(context);
    }
};

// The NAL units of a tile, its parameter sets first. Null where there is no memory for them.
RKHevcDecoder::Packet packetOf(const RKHeifTiles::Tile& tile)
{
    constexpr qint64 kLength = 4;
    const QList<QByteArrayView> units
        = RKHevcConfiguration::units(tile.configuration).value_or(QList<QByteArrayView>());
    qint64 size = 0;
    for (const QByteArrayView unit : units)
        size += kLength + unit.size();
    for (const QByteArrayView data : tile.data)
        size += data.size();
    RKHevcDecoder::Packet packet(av_packet_alloc());
    if (!packet || size > INT_MAX || av_new_packet(packet.get(), int(size)) != 0)
        return nullptr;
    uint8_t* at = packet->data;
    for (const QByteArrayView unit : units) {
        qToBigEndian(quint32(unit.size()), at);
        at = std::copy(unit.begin(), unit.end(), at + kLength);
    }
    for (const QByteArrayView data : tile.data)
        at = std::copy(data.begin(), data.end(), at);
    return packet;
}

// Null where it is damaged, or where its planes can't be scaled.
Frame decoded(RKHevcDecoder& decoder, const RKHeifTiles& tiles, qsizetype index)
{
    const RKHeifTiles::Tile& tile = tiles.tiles[index];
    const RKHevcDecoder::Packet packet = packetOf(tile);
    Frame frame = packet ? decoder.decode(*packet) : nullptr;
    if (!frame || QSize(frame->width, frame->height) != tiles.tileSize)
        return nullptr;
    // What the file says goes before what the stream says.
    RKBigEndianReader colors(tile.colors);
    colors.bytes(8);
    const quint64 matrix = colors.number(2);
    const bool isFull = colors.number(1) & 0x80;
    if (!tile.colors.isEmpty() && colors.isGood()) {
        frame->colorspace = matrix < AVCOL_SPC_NB ? AVColorSpace(matrix) : AVCOL_SPC_RESERVED;
        frame->color_range = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    return frame;
}

bool isSameKind(const AVFrame& frame, const AVFrame& other)
{
    return frame.format == other.format && frame.colorspace == other.colorspace
        && frame.color_range == other.color_range;
}

// Planes for the whole picture, of the tile's kind.
Frame canvas(const QSize& size, const AVFrame& tile)
{
    Frame frame(av_frame_alloc());
    if (!frame)
        return nullptr;
    frame->width = size.width();
    frame->height = size.height();
    frame->format = tile.format;
    frame->colorspace = tile.colorspace;
    frame->color_range = tile.color_range;
    return av_frame_get_buffer(frame.get(), 0) == 0 ? std::move(frame) : nullptr;
}

// What goes beyond the picture is cut off.
void paste(const AVFrame& tile, const QPoint& at, const AVFrame& picture)
{
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(AVPixelFormat(tile.format));
    const int bytes = format.comp[0].depth > CHAR_BIT ? 2 : 1;
    const int width = std::min(tile.width, picture.width - at.x());
    const int height = std::min(tile.height, picture.height - at.y());
    for (int i = 0; i < format.nb_components; ++i) {
        const int shiftX = i == 0 ? 0 : format.log2_chroma_w;
        const int shiftY = i == 0 ? 0 : format.log2_chroma_h;
        uint8_t* const to = picture.data[i] + qint64(at.y() >> shiftY) * picture.linesize[i]
            + qint64(at.x() >> shiftX) * bytes;
        av_image_copy_plane(to,
            picture.linesize[i],
            tile.data[i],
            tile.linesize[i],
            AV_CEIL_RSHIFT(width, shiftX) * bytes,
            AV_CEIL_RSHIFT(height, shiftY));
    }
}

// Whether tiles begin at a sample of chroma, which may have fewer samples than pixels.
bool canBePasted(const AVFrame& tile)
{
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(AVPixelFormat(tile.format));
    return format && tile.width % (1 << format->log2_chroma_w) == 0
        && tile.height % (1 << format->log2_chroma_h) == 0;
}

// Null where one of them is damaged or not like the others.
Frame assembled(const RKHeifTiles& tiles, const RKStopQuestion& mustStop)
{
    RKHevcDecoder decoder;
    Frame first = decoded(decoder, tiles, 0);
    if (!first || tiles.tileSize == tiles.size)
        return first;
    Frame picture = canBePasted(*first) ? canvas(tiles.size, *first) : nullptr;
    if (!picture)
        return nullptr;
    const auto place = [&](qsizetype index) {
        return QPoint(int(index % tiles.columns) * tiles.tileSize.width(),
            int(index / tiles.columns) * tiles.tileSize.height());
    };
    paste(*first, place(0), *picture);

    std::atomic<qsizetype> next = 1;
    std::atomic<bool> isGood = true;
    const auto pasteOthers = [&](RKHevcDecoder& own, const RKStopQuestion& stopsHere) {
        for (qsizetype i = next++; i < tiles.tiles.size() && isGood; i = next++) {
            const Frame tile = stopsHere() ? nullptr : decoded(own, tiles, i);
            if (tile && isSameKind(*tile, *picture))
                paste(*tile, place(i), *picture);
            else
                isGood = false;
        }
    };
    // Waits for its threads wherever this function is left.
    std::vector<std::future<void>> helpers;
    const qsizetype threads
        = std::min<qsizetype>(RKHeifThreads::count(tiles.size), tiles.tiles.size() - 1);
    for (qsizetype i = 1; i < threads; ++i) {
        helpers.push_back(std::async(std::launch::async, [&] {
            RKHevcDecoder own;
            pasteOthers(own, [] { return false; });
        }));
    }
    pasteOthers(decoder, mustStop);
    for (std::future<void>& helper : helpers)
        helper.get();
    return isGood ? std::move(picture) : nullptr;
}

// Those that swscale and libheif know alike. Unspecified is BT.601 for both.
bool isMatrixKnown(AVColorSpace matrix)
{
    constexpr std::array kKnown{AVCOL_SPC_BT709,
        AVCOL_SPC_UNSPECIFIED,
        AVCOL_SPC_FCC,
        AVCOL_SPC_BT470BG,
        AVCOL_SPC_SMPTE170M,
        AVCOL_SPC_SMPTE240M,
        AVCOL_SPC_BT2020_NCL};
    return std::find(kKnown.begin(), kKnown.end(), matrix) != kKnown.end();
}

// The format without what it says of the range; none where it isn't luma with or without chroma.
AVPixelFormat formatOf(const AVFrame& frame)
{
    switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P: return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P: return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P: return AV_PIX_FMT_YUV444P;
    default: break;
    }
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(AVPixelFormat(frame.format));
    const bool isLuma = format && !(format->flags & AV_PIX_FMT_FLAG_RGB)
        && (format->nb_components == 1 || format->nb_components == 3);
    return isLuma ? AVPixelFormat(frame.format) : AV_PIX_FMT_NONE;
}

QImage scaled(const AVFrame& frame, const QSize& size)
{
    constexpr int kUnchanged = 1 << 16;
    // The mean of the area that a pixel covers, and chroma for each pixel.
    constexpr int kFlags = SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
    const AVPixelFormat format = formatOf(frame);
    if (format == AV_PIX_FMT_NONE || !isMatrixKnown(frame.colorspace))
        return {};
    const std::unique_ptr<SwsContext, ScalerDeleter> context(sws_getContext(frame.width,
        frame.height,
        format,
        size.width(),
        size.height(),
        AV_PIX_FMT_RGB32,
        kFlags,
        nullptr,
        nullptr,
        nullptr));
    QImage result(size, QImage::Format_RGB32);
    if (!context || result.isNull())
        return {};
    // libheif takes grey as it is.
    const bool isFull = frame.color_range == AVCOL_RANGE_JPEG || frame.data[1] == nullptr;
    const int* const matrix = sws_getCoefficients(frame.colorspace);
    sws_setColorspaceDetails(context.get(), matrix, isFull, matrix, 1, 0, kUnchanged, kUnchanged);
    uint8_t* const pixels = result.bits();
    const int stride = int(result.bytesPerLine());
    const int lines
        = sws_scale(context.get(), frame.data, frame.linesize, 0, frame.height, &pixels, &stride);
    return lines == size.height() ? result : QImage();
}

QImage turned(QImage image, const QList<RKHeifTiles::Turning>& turning)
{
    for (const RKHeifTiles::Turning& turn : turning) {
        if (turn.isMirroring)
            image = image.mirrored(turn.value == 1, turn.value == 0);
        else
            image = image.transformed(QTransform().rotate(-90 * turn.value));
    }
    return image;
}

bool isOnItsSide(const QList<RKHeifTiles::Turning>& turning)
{
    int turns = 0;
    for (const RKHeifTiles::Turning& turn : turning)
        turns += turn.isMirroring ? 0 : turn.value;
    return turns % 2 != 0;
}

} // namespace

QImage RKHeifReducer::reduced(
    const RKHeifTiles& tiles, const QSize& size, const RKStopQuestion& mustStop)
{
    const Frame picture = assembled(tiles, mustStop);
    if (!picture)
        return {};
    return turned(
        scaled(*picture, isOnItsSide(tiles.turning) ? size.transposed() : size), tiles.turning);
}

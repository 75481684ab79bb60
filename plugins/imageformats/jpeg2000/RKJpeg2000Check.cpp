#include "imageformats/jpeg2000/RKJpeg2000Check.h"

#include "imageformats/common/RKBoxReader.h"
#include "imageformats/common/RKPictureLimits.h"

#include <algorithm>
#include <optional>

namespace {

// Four inks and transparency.
constexpr quint64 kMaxComponents = 5;
// 300 megapixels in tiles of 256 have 4600; each costs OpenJPEG some 10 kB.
constexpr qint64 kMaxTiles = 8192;
// The code-blocks of a tile in all components, each of which takes OpenJPEG 400 bytes, and those of
// all tiles, which take it a second. Those that hold something take a byte of the file at least.
constexpr qint64 kSmallNumberOfBlocks = 1 << 18;
constexpr qint64 kSmallNumberOfAllBlocks = 1 << 21;
// In a tile. For each packet OpenJPEG notes whether it has come.
constexpr qint64 kMaxPackets = 1 << 26;
// In all tiles. OpenJPEG goes through them even where nothing of them has come: half a second's
// work. Those that have come take a byte of the file at least, and they are counted too high here.
constexpr qint64 kSmallNumberOfPackets = 1 << 24;
constexpr qint64 kPacketsPerByte = 8;
// Where the order of packets is by position, OpenJPEG asks each resolution in all places that may
// be the corner of a precinct of any. Half a second's work; precincts of 16 x 16 in the largest
// picture take a sixth of it.
constexpr qint64 kMaxPositions = 1 << 27;
// ITU-T T.800, table A.15.
constexpr quint64 kMaxLevels = 32;

constexpr quint64 kSiz = 0xff51;
constexpr quint64 kCod = 0xff52;
constexpr quint64 kCoc = 0xff53;
constexpr quint64 kPoc = 0xff5f;
constexpr quint64 kSot = 0xff90;
constexpr quint64 kSod = 0xff93;

qint64 divideUp(qint64 value, qint64 divisor)
{
    return (value + divisor - 1) / divisor;
}

// The marker segments of the main header and of the tile-parts' headers.
class Codestream
{
public:
    explicit Codestream(QByteArrayView bytes)
        : m_bytes(bytes)
    {
    }

    bool isAcceptable()
    {
        constexpr qint64 kMarkerSize = 2;
        RKBigEndianReader reader(m_bytes.sliced(std::min(kMarkerSize, m_bytes.size())));
        QByteArrayView tilePart;
        while (reader.rest() >= kMarkerSize) {
            const QByteArrayView start = reader.remaining();
            const quint64 marker = reader.number(2);
            if (marker == kSod) {
                // The next tile-part starts where this one's length says. Some go to the end.
                const auto headerSize = quint64(tilePart.size() - reader.rest());
                if (m_tilePartSize < headerSize || m_tilePartSize > quint64(tilePart.size()))
                    return isAffordable();
                reader = RKBigEndianReader(tilePart.sliced(qint64(m_tilePartSize)));
                continue;
            }
            const quint64 length = reader.number(2);
            RKBigEndianReader segment(reader.bytes(length < 2 ? 0 : length - 2));
            // What comes after the damage is never reached.
            if (!reader.isGood() || length < 2)
                return isAffordable();
            if (marker == kSot)
                tilePart = start;
            if (!isSegmentAcceptable(marker, segment))
                return false;
        }
        return isAffordable();
    }

private:
    // The size is known, and what was read by now is not too much.
    bool isAffordable() const
    {
        const qint64 inAll = m_tiles * qint64(m_components);
        const qint64 packets = inAll * m_layers * m_precincts;
        // A change of the order has OpenJPEG go through them once more, in an eighth of the time.
        constexpr qint64 kWhole = 8;
        const qint64 bytes = m_bytes.size();
        return m_isMeasured && inAll * m_positions * (1 + m_orders) <= kMaxPositions
            && inAll * m_blocks <= std::max(kSmallNumberOfAllBlocks, bytes)
            && packets / kWhole * (kWhole + m_orders)
            <= std::max(kSmallNumberOfPackets, kPacketsPerByte * bytes);
    }

    bool isSegmentAcceptable(quint64 marker, RKBigEndianReader& segment)
    {
        switch (marker) {
        case kSiz: return isSizeAcceptable(segment);
        case kCod: return isCodingAcceptable(segment);
        case kCoc: return isComponentCodingAcceptable(segment);
        case kPoc: {
            // A.6.6, with components of one byte. OpenJPEG refuses more.
            constexpr qint64 kOrderSize = 7;
            constexpr qint64 kMaxOrders = 32;
            m_orders = std::min(m_orders + segment.rest() / kOrderSize, kMaxOrders);
            return true;
        }
        case kSot:
            segment.number(2);
            m_tilePartSize = segment.number(4);
            return true;
        default: return true;
        }
    }

    // A.5.1.
    bool isSizeAcceptable(RKBigEndianReader& segment)
    {
        segment.number(2);
        const auto right = qint64(segment.number(4));
        const auto bottom = qint64(segment.number(4));
        const auto left = qint64(segment.number(4));
        const auto top = qint64(segment.number(4));
        m_tileWidth = qint64(segment.number(4));
        m_tileHeight = qint64(segment.number(4));
        const auto tilesLeft = qint64(segment.number(4));
        const auto tilesTop = qint64(segment.number(4));
        m_components = segment.number(2);
        if (!segment.isGood() || !RKPictureLimits::isAcceptable(right - left, bottom - top)
            || m_components == 0 || m_components > kMaxComponents || m_tileWidth == 0
            || m_tileHeight == 0)
            return false;
        m_isMeasured = true;
        const qint64 columns = divideUp(std::max<qint64>(0, right - tilesLeft), m_tileWidth);
        const qint64 rows = divideUp(std::max<qint64>(0, bottom - tilesTop), m_tileHeight);
        m_tileWidth = std::min(m_tileWidth, right - left);
        m_tileHeight = std::min(m_tileHeight, bottom - top);
        m_tiles = columns * rows;
        return columns <= kMaxTiles && rows <= kMaxTiles && m_tiles <= kMaxTiles;
    }

    // A.6.1.
    bool isCodingAcceptable(RKBigEndianReader& segment)
    {
        const quint64 style = segment.number(1);
        segment.number(1);
        m_layers = std::max(m_layers, qint64(segment.number(2)));
        segment.number(1);
        return areBlocksAcceptable(style, segment);
    }

    // A.6.2.
    bool isComponentCodingAcceptable(RKBigEndianReader& segment)
    {
        segment.number(1);
        const quint64 style = segment.number(1);
        return areBlocksAcceptable(style, segment);
    }

    // A.6.1, tables A.15, A.18 and A.21: code-blocks and precincts of the resolutions.
    bool areBlocksAcceptable(quint64 style, RKBigEndianReader& segment)
    {
        const quint64 levels = segment.number(1);
        const quint64 blockWidth = segment.number(1) + 2;
        const quint64 blockHeight = segment.number(1) + 2;
        segment.number(2);
        if (!segment.isGood() || levels > kMaxLevels)
            return false;

        const bool hasPrecincts = style & 1;
        qint64 blocks = 0;
        qint64 precincts = 0;
        qint64 mostPrecincts = 0;
        quint64 closestAcross = kMaxLevels;
        quint64 closestDown = kMaxLevels;
        for (quint64 resolution = 0; resolution <= levels; ++resolution) {
            const quint64 sizes = hasPrecincts ? segment.number(1) : 0xff;
            const qint64 width = divideUp(m_tileWidth, 1LL << (levels - resolution));
            const qint64 height = divideUp(m_tileHeight, 1LL << (levels - resolution));
            const auto count = [&](quint64 across, quint64 down) {
                return ((width >> across) + 2) * ((height >> down) + 2);
            };
            const quint64 precinctWidth = sizes & 15;
            const quint64 precinctHeight = sizes >> 4;
            blocks += count(
                std::min(precinctWidth, blockWidth), std::min(precinctHeight, blockHeight));
            closestAcross = std::min(closestAcross, precinctWidth + levels - resolution);
            closestDown = std::min(closestDown, precinctHeight + levels - resolution);
            precincts += count(precinctWidth, precinctHeight);
            mostPrecincts = std::max(mostPrecincts, count(precinctWidth, precinctHeight));
        }
        const qint64 corners
            = ((m_tileWidth >> closestAcross) + 1) * ((m_tileHeight >> closestDown) + 1);
        m_positions = std::max(m_positions, corners * qint64(levels + 1));
        m_blocks = std::max(m_blocks, blocks);
        m_precincts = std::max(m_precincts, precincts);
        return segment.isGood()
            && blocks * qint64(m_components) <= std::max(kSmallNumberOfBlocks, m_bytes.size())
            && m_layers * mostPrecincts * qint64((levels + 1) * m_components) <= kMaxPackets;
    }

    QByteArrayView m_bytes;
    qint64 m_tileWidth = 0;
    qint64 m_tileHeight = 0;
    quint64 m_components = 0;
    qint64 m_tiles = 0;
    qint64 m_layers = 1;
    qint64 m_positions = 0;
    qint64 m_blocks = 0;
    qint64 m_precincts = 0;
    qint64 m_orders = 0;
    quint64 m_tilePartSize = 0;
    bool m_isMeasured = false;
};

// I.5.3.4: a palette makes components of its own.
bool isHeaderAcceptable(QByteArrayView header)
{
    RKBoxReader boxes(header);
    while (boxes.next()) {
        if (!boxes.is("pclr"))
            continue;
        RKBigEndianReader palette(boxes.content());
        palette.number(2);
        if (palette.number(1) > kMaxComponents)
            return false;
    }
    return true;
}

} // namespace

bool RKJpeg2000Check::isAcceptable(QByteArrayView file)
{
    if (file.startsWith(kCodestreamSignature))
        return Codestream(file).isAcceptable();
    RKBoxReader boxes(file);
    while (boxes.next()) {
        if (boxes.is("jp2h") && !isHeaderAcceptable(boxes.content()))
            return false;
        if (boxes.is("jp2c"))
            return Codestream(boxes.content()).isAcceptable();
    }
    // The code stream of a file that was cut off.
    const QByteArrayView rest = boxes.remaining();
    return boxes.is("jp2c") && Codestream(rest).isAcceptable();
}

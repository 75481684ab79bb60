#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/video/RKKeyFrameScan_p.h"

#include <QFile>

#include <algorithm>
#include <limits>
#include <optional>

using RKKeyFrameScan::Entry;

namespace {

using Entries = std::vector<Entry>;

// 11 hours at 25 frames per second; FFmpeg takes 24 bytes for each.
constexpr size_t kMaxEntries = 1 << 20;
// Bounds the time for files that consist of headers.
constexpr int kMaxHeaders = 1 << 23;
// Enough for the start code of a picture after what may come before it.
constexpr int kMaxPictureHeader = 1024;

/// A file of which only small pieces are read. Headers that lie close together come from one read.
class Headers
{
public:
    explicit Headers(const QString& path)
        : m_file(path)
    {
        m_isOpen = m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        m_size = m_isOpen ? m_file.size() : 0;
    }

    bool isOpen() const
    {
        return m_isOpen;
    }

    /// Whether the bytes up to there are in the file.
    bool contains(qint64 end) const
    {
        return end <= m_size;
    }

    /// Up to so many bytes; fewer at the end of the file. Valid until the next call.
    QByteArrayView at(qint64 position, qint64 count)
    {
        const qint64 end = m_start + m_bytes.size();
        if (position < m_start || position + count > end) {
            constexpr qint64 kPiece = 4096;
            m_start = position;
            m_bytes.resize(kPiece);
            const bool isThere = position >= 0 && m_file.seek(position);
            m_bytes.resize(isThere ? std::max<qint64>(m_file.read(m_bytes.data(), kPiece), 0) : 0);
        }
        const QByteArrayView bytes = QByteArrayView(m_bytes).sliced(position - m_start);
        return bytes.first(std::min(count, bytes.size()));
    }

private:
    QFile m_file;
    bool m_isOpen = false;
    qint64 m_size = 0;
    qint64 m_start = 0;
    QByteArray m_bytes;
};

/// Whether a picture in an AVI file is known to be a key frame.
bool isKeyFrame(AVCodecID codec, QByteArrayView picture)
{
    if (RKKeyFrameScan::isIntraOnly(codec))
        return true;
    switch (codec) {
    case AV_CODEC_ID_MSMPEG4V2:
    case AV_CODEC_ID_MSMPEG4V3:
    case AV_CODEC_ID_WMV1:
        // Both bits of the picture's type are 0.
        return !picture.isEmpty() && (picture.front() & 0xC0) == 0;
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_H264: break;
    default: return {};
    }
    for (qsizetype i = 0; i + 4 < picture.size(); ++i) {
        if (!picture.sliced(i).startsWith(QByteArrayView("\0\0\1", 3)))
            continue;
        const auto code = uchar(picture[i + 3]);
        if (codec == AV_CODEC_ID_MPEG4) {
            // ISO/IEC 14496-2, 6.2.5: vop_start_code and vop_coding_type, 0 for intra.
            if (code == 0xB6)
                return (picture[i + 4] & 0xC0) == 0;
        } else if (const int type = code & 0x1F; type >= 1 && type <= 5) {
            // ISO/IEC 14496-10, table 7-1: slices, 5 for those of instantaneous refreshes.
            return type == 5;
        }
    }
    return false;
}

/// The number of the stream that a chunk of an AVI file belongs to; -1 for other chunks.
int streamOfChunk(QByteArrayView id)
{
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    // Palettes and indices are called like frames.
    if (!isDigit(id[0]) || !isDigit(id[1]) || id.endsWith("pc") || id.endsWith("ix"))
        return -1;
    return (id[0] - '0') * 10 + id[1] - '0';
}

/// The times are the numbers of the chunks.
Entries entriesOfAvi(Headers& file, const Entry& known, int stream, AVCodecID codec)
{
    Entries entries;
    qint64 position = known.position;
    qint64 frame = known.timestamp;
    for (int i = 0; i < kMaxHeaders && entries.size() < kMaxEntries; ++i) {
        RKByteReader chunk(file.at(position, kMaxPictureHeader), QSysInfo::LittleEndian);
        const QByteArrayView id = chunk.take(4);
        const auto size = chunk.number<quint32>();
        const bool isOfStream = chunk.isGood() && streamOfChunk(id) == stream;
        const bool isChunk = chunk.isGood()
            && std::all_of(id.begin(), id.end(), [](char c) { return c >= ' ' && c <= '~'; });
        // The index may count from elsewhere.
        if (i == 0 ? !isOfStream : !isChunk)
            break;
        if (id == QByteArrayView("RIFF") || id == QByteArrayView("LIST")) {
            position += 12;
            continue;
        }
        const qint64 end = position + 8 + size;
        if (isOfStream) {
            const QByteArrayView picture
                = chunk.rest().first(std::min<qint64>(size, chunk.rest().size()));
            if (i > 0 && size > 0 && size <= quint32(std::numeric_limits<int>::max()))
                entries.push_back({position, frame, int(size), isKeyFrame(codec, picture)});
            ++frame;
        }
        // A picture that is cut off is entered too, or FFmpeg would enter it as a key frame.
        if (!file.contains(end))
            break;
        position = end + (size & 1);
    }
    return entries;
}

Entries entriesOfFlv(Headers& file, const Entry& known)
{
    Entries entries;
    qint64 position = known.position;
    qint64 time = known.timestamp;
    for (int i = 0; i < kMaxHeaders && entries.size() < kMaxEntries; ++i) {
        constexpr int kTagHeader = 11;
        constexpr int kSizeOfTagBefore = 4;
        RKByteReader tag(file.at(position, kTagHeader + 2));
        const quint32 typeAndSize = tag.number<quint32>();
        const quint32 timeAndHigh = tag.number<quint32>();
        tag.take(3);
        const int video = tag.number<uchar>();
        const int packet = tag.number<uchar>();
        const int type = typeAndSize >> 24 & 0x1F;
        constexpr int kAudio = 8;
        constexpr int kVideo = 9;
        constexpr int kScript = 18;
        if (!tag.isGood() || (type != kAudio && type != kVideo && type != kScript))
            break;
        const qint64 end = position + kTagHeader + (typeAndSize & 0xFFFFFF) + kSizeOfTagBefore;
        if (!file.contains(end - kSizeOfTagBefore))
            break;
        // MPEG-4's codecs say whether a packet is a picture.
        const int codec = video & 0xF;
        const bool isPicture = (codec != 7 && codec != 9) || packet == 1;
        const qint64 tagTime = (timeAndHigh >> 8) | (timeAndHigh & 0xFF) << 24;
        if (type == kVideo && video >> 4 == 1 && isPicture && tagTime > time) {
            time = tagTime;
            entries.push_back({position, time});
        }
        position = end;
    }
    return entries;
}

/// Walks through the elements of a Matroska file.
class Matroska
{
public:
    explicit Matroska(Headers& file)
        : m_file(file)
    {
    }

    /// The first key frame of each cluster. Clusters begin with one where the writer could.
    Entries entriesAfter(const Entry& known)
    {
        Entries entries;
        const std::optional<quint64> track = onlyVideoTrack();
        if (!track)
            return entries;
        Entry cluster{known.position, 0};
        qint64 clusterEnd = -1;
        qint64 position = known.position;
        qint64 time = known.timestamp;
        for (int i = 0; i < kMaxHeaders && entries.size() < kMaxEntries; ++i) {
            const std::optional<Element> element = elementAt(position);
            if (!element || (i == 0 && element->id != kCluster))
                break;
            if (element->id == kCluster) {
                cluster = {position, 0};
                clusterEnd = element->end;
                position = element->data;
                continue;
            }
            if (element->end < 0)
                break;
            position = element->end;
            if (element->id == kTimestamp)
                cluster.timestamp = qint64(std::min(number(*element), kMaxTime));
            const std::optional<qint64> key
                = m_file.contains(element->end) ? keyFrameOf(*element, *track) : std::nullopt;
            if (key && cluster.timestamp + *key > time) {
                time = cluster.timestamp + *key;
                entries.push_back({cluster.position, time});
                if (clusterEnd >= 0)
                    position = clusterEnd;
            }
        }
        return entries;
    }

private:
    struct Element
    {
        quint64 id;
        qint64 data;
        qint64 end; ///< -1 if unknown.
    };

    static constexpr quint64 kSegment = 0x18538067;
    static constexpr quint64 kTracks = 0x1654AE6B;
    static constexpr quint64 kTrackEntry = 0xAE;
    static constexpr quint64 kTrackNumber = 0xD7;
    static constexpr quint64 kTrackType = 0x83;
    static constexpr quint64 kCluster = 0x1F43B675;
    static constexpr quint64 kTimestamp = 0xE7;
    static constexpr quint64 kSimpleBlock = 0xA3;
    static constexpr quint64 kBlockGroup = 0xA0;
    static constexpr quint64 kBlock = 0xA1;
    static constexpr quint64 kReferenceBlock = 0xFB;
    // So that the times of blocks can be added.
    static constexpr quint64 kMaxTime = quint64(1) << 61;

    /// RFC 8794, 4: the zero bits at the beginning tell the length.
    static std::optional<quint64> variableNumber(RKByteReader& bytes, bool keepsMarker)
    {
        const int first = bytes.number<uchar>();
        if (first == 0)
            return {};
        int length = 1;
        while (!(first & (0x100 >> length)))
            ++length;
        auto value = quint64(keepsMarker ? first : first & (0xFF >> length));
        bool isUnknown = (first & (0xFF >> length)) == 0xFF >> length;
        for (int i = 1; i < length; ++i) {
            const auto byte = bytes.number<uchar>();
            value = value << 8 | byte;
            isUnknown = isUnknown && byte == 0xFF;
        }
        if (!bytes.isGood())
            return {};
        return isUnknown && !keepsMarker ? kUnknown : value;
    }

    std::optional<Element> elementAt(qint64 position)
    {
        constexpr int kMaxHeader = 4 + 8;
        RKByteReader bytes(m_file.at(position, kMaxHeader));
        const auto id = variableNumber(bytes, true);
        const auto size = id ? variableNumber(bytes, false) : std::nullopt;
        if (!size)
            return {};
        const qint64 data = position + bytes.position();
        return Element{*id, data, *size == kUnknown ? -1 : data + qint64(*size)};
    }

    quint64 number(const Element& element)
    {
        quint64 value = 0;
        for (const char byte :
            m_file.at(element.data, std::clamp<qint64>(element.end - element.data, 0, 8)))
            value = value << 8 | uchar(byte);
        return value;
    }

    /// The number of the video track, if there is only one.
    std::optional<quint64> onlyVideoTrack()
    {
        constexpr int kMaxElements = 10000;
        constexpr int kVideo = 1;
        std::optional<quint64> found;
        quint64 track = 0;
        quint64 type = 0;
        qint64 position = 0;
        for (int i = 0; i < kMaxElements; ++i) {
            const std::optional<Element> element = elementAt(position);
            if (!element || element->id == kCluster)
                break;
            const bool isEntered
                = element->id == kSegment || element->id == kTracks || element->id == kTrackEntry;
            if (!isEntered && element->end < 0)
                break;
            position = isEntered ? element->data : element->end;
            if (element->id == kTrackEntry)
                track = type = 0;
            else if (element->id == kTrackNumber)
                track = number(*element);
            else if (element->id == kTrackType)
                type = number(*element);
            if (track == 0 || type != kVideo)
                continue;
            if (found)
                return {};
            found = track;
            track = 0;
        }
        return found;
    }

    /// The time of a block with a key frame, from that of its cluster.
    std::optional<qint64> keyFrameOf(const Element& element, quint64 track)
    {
        constexpr int kKeyFrame = 0x80;
        if (element.id == kSimpleBlock)
            return timeOfBlock(element, track, kKeyFrame);
        if (element.id != kBlockGroup)
            return {};
        constexpr int kMaxChildren = 1000;
        std::optional<qint64> time;
        qint64 position = element.data;
        for (int i = 0; i < kMaxChildren && position < element.end; ++i) {
            const std::optional<Element> child = elementAt(position);
            if (!child || child->end < 0 || child->id == kReferenceBlock)
                return {};
            if (child->id == kBlock)
                time = timeOfBlock(*child, track, 0);
            position = child->end;
        }
        return time;
    }

    /// Nullopt if the block is another track's, or does not have the flags.
    std::optional<qint64> timeOfBlock(const Element& block, quint64 track, int flags)
    {
        constexpr int kMaxHeader = 8 + 3;
        RKByteReader bytes(m_file.at(block.data, kMaxHeader));
        const auto blockTrack = variableNumber(bytes, false);
        const auto time = bytes.number<qint16>();
        const int blockFlags = bytes.number<uchar>();
        if (!bytes.isGood() || blockTrack != track || (blockFlags & flags) != flags)
            return {};
        return time;
    }

    static constexpr quint64 kUnknown = std::numeric_limits<quint64>::max();

    Headers& m_file;
};

} // namespace

bool RKKeyFrameScan::isIntraOnly(AVCodecID codec)
{
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    return descriptor && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY);
}

std::vector<Entry> RKKeyFrameScan::entriesAfter(
    const Entry& known, const QString& path, const QString& format, int stream, AVCodecID codec)
{
    Headers file(path);
    if (!file.isOpen())
        return {};
    if (format == QStringLiteral("avi"))
        return entriesOfAvi(file, known, stream, codec);
    if (format == QStringLiteral("flv"))
        return entriesOfFlv(file, known);
    if (format == QStringLiteral("matroska,webm"))
        return Matroska(file).entriesAfter(known);
    return {};
}

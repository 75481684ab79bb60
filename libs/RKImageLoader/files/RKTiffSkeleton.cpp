#include "RKImageLoader/files/RKTiffSkeleton_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"

#include <algorithm>
#include <limits>

namespace {

using Range = RKByteRange;
using Ranges = RKByteRanges::List;

// Files are read and copied in pages of this size.
constexpr quint64 kPage = 4096;
// What is read at a time.
constexpr quint64 kMaxRead = 256 * 1024;
// Smaller ones are not worth a place in the list.
constexpr quint64 kMinHole = 16 * 1024;
// Between strips, for an even place of the next one.
constexpr quint64 kMaxPadding = 15;
// In different places of the file, for directories; a file with more is read as a whole.
constexpr int kMaxReads = 20'000;
// Places are numbers of 32 bits. Larger files cannot be edited.
constexpr qint64 kMaxSize = std::numeric_limits<quint32>::max();

std::optional<RKSparseBytes> readAll(const RKByteSource& source)
{
    QByteArray whole;
    return source.read(0, source.size(), &whole) ? std::optional(RKSparseBytes(whole))
                                                 : std::nullopt;
}

quint64 pageBefore(quint64 place)
{
    return place / kPage * kPage;
}

quint64 pageAfter(quint64 place)
{
    return pageBefore(place + kPage - 1);
}

/// Reads a file into its array, place by place.
class Reader
{
    Q_DISABLE_COPY_MOVE(Reader)

public:
    explicit Reader(const RKByteSource& source)
        : m_source(source)
        , m_bytes(RKSparseBytes::hole(source.size()))
    {
    }

    quint64 size() const
    {
        return quint64(m_bytes.size());
    }

    const RKSparseBytes& bytes() const
    {
        return m_bytes;
    }

    bool hasReadError() const
    {
        return m_hasReadError;
    }

    bool hasReadManyPlaces() const
    {
        return m_reads >= kMaxReads;
    }

    /// What is missing of the pages with that range; not if there were too many already.
    void readPages(const Range& range)
    {
        if (!m_bytes.hasHole(range) || hasReadManyPlaces())
            return;
        ++m_reads;
        read({pageBefore(range.start), std::min(pageAfter(range.end), size())});
    }

    void read(const Range& range)
    {
        for (const Range& hole : RKByteRanges::within(range, m_bytes.holes())) {
            for (quint64 at = hole.start; at < hole.end && !m_hasReadError;) {
                QByteArray block;
                m_hasReadError
                    = !m_source.read(qint64(at), qint64(std::min(kMaxRead, hole.end - at)), &block);
                m_bytes.overwrite(qint64(at), block);
                at += quint64(block.size());
            }
        }
    }

private:
    const RKByteSource& m_source;
    RKSparseBytes m_bytes;
    int m_reads = 0;
    bool m_hasReadError = false;
};

/// The whole pages in a set of pixels that are worth a hole.
Ranges holesIn(const Ranges& pixels)
{
    Ranges holes;
    for (const Range& range : pixels) {
        const Range pages{pageAfter(range.start), pageBefore(range.end)};
        if (pages.end >= pages.start + kMinHole)
            holes.push_back(pages);
    }
    return holes;
}

/// The pixels that nothing else uses.
Ranges holesOf(const RKTiffStructure& tiff)
{
    const auto directories = tiff.directories();
    if (!directories || directories->empty())
        return {};
    const auto size = quint64(tiff.bytes().size());
    const quint32 second = tiff.directoryAfter(tiff.firstDirectory());
    Ranges pixels;
    Ranges others{{0, kPage}};
    for (const RKTiffStructure::Directory& directory : *directories) {
        others.push_back({directory.place,
            quint64(tiff.endOfEntries(directory.place)) + RKTiffStructure::kNextSize});
        for (const RKTiffStructure::Entry& entry : directory.entries)
            others.push_back(tiff.claimedRange(entry));
        // exiv2 reads the pixels of the second directory, and edits may replace them.
        Ranges& own = directory.place == second ? others : pixels;
        for (const Range& range : tiff.pixelsOf(directory)) {
            if (range.end <= size)
                own.push_back(range);
        }
    }
    return holesIn(RKByteRanges::without(RKByteRanges::united(std::move(pixels), kMaxPadding),
        RKByteRanges::united(std::move(others))));
}

} // namespace

std::optional<RKSparseBytes> RKTiffSkeleton::read(const RKByteSource& source)
{
    if (source.size() > kMaxSize)
        return readAll(source);
    Reader reader(source);
    reader.read({0, std::min(kPage, reader.size())});
    const RKTiffStructure tiff(
        reader.bytes().view(), [&reader](const Range& range) { reader.readPages(range); });
    const Ranges holes = holesOf(tiff);
    if (reader.hasReadError())
        return {};
    if (holes.empty() || reader.hasReadManyPlaces())
        return readAll(source);
    for (const Range& held : RKByteRanges::without({0, reader.size()}, holes))
        reader.read(held);
    return reader.hasReadError() ? std::nullopt : std::optional(reader.bytes());
}

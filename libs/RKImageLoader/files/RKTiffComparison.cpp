#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKTiffComparison_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <algorithm>
#include <map>

namespace {

using Directory = RKTiffStructure::Directory;
using Entry = RKTiffStructure::Entry;
using Range = RKTiffStructure::Range;

constexpr qsizetype kMaxDifferences = 5;

/// The ranges, in order, of which some bytes may differ between two files: blocks of bytes, and
/// those that only one of them holds.
std::vector<Range> differingBlocks(const RKSparseBytes& before, const RKSparseBytes& after)
{
    constexpr quint64 kBlock = 64;
    const auto size = quint64(before.size());
    std::vector<Range> blocks = RKByteRanges::without(before.holes(), after.holes());
    const auto ofAfter
        = RKByteRanges::without(RKByteRanges::within({0, size}, after.holes()), before.holes());
    blocks.insert(blocks.end(), ofAfter.begin(), ofAfter.end());
    const auto held = RKByteRanges::without({0, size}, before.holes());
    for (const Range& range : RKByteRanges::without(held, after.holes())) {
        for (quint64 at = range.start; at < range.end; at += kBlock) {
            const auto start = qsizetype(at);
            const auto count = qsizetype(std::min(kBlock, range.end - at));
            const QByteArrayView other = after.view().sliced(std::min(start, after.view().size()));
            if (!other.startsWith(before.view().sliced(start, count)))
                blocks.push_back({at, at + quint64(count)});
        }
    }
    return RKByteRanges::united(std::move(blocks));
}

class Comparison
{
public:
    Comparison(const RKSparseBytes& before,
        const RKSparseBytes& after,
        const QList<RKTiffComparison::Owned>& owned)
        : m_bytesBefore(before)
        , m_bytesAfter(after)
        , m_before(before.view())
        , m_after(after.view())
        , m_owned(owned)
        , m_differing(differingBlocks(before, after))
        , m_budget(4 * quint64(before.size() + after.size()))
    {
    }

    QStringList differences()
    {
        const auto before = m_before.directories();
        const auto after = m_after.directories();
        if (!m_before.isValid() || !m_after.isValid() || !before || !after
            || m_before.byteOrder() != m_after.byteOrder() || !areHeld(m_bytesBefore, *before)
            || !areHeld(m_bytesAfter, *after))
            return {QStringLiteral("TIFF structure")};
        compareDirectories(*before, *after);
        compareRest(*before);
        return m_differences;
    }

private:
    static QString nameOf(const QByteArray& directory, quint16 tag)
    {
        return QString::fromLatin1(directory) + QStringLiteral(" tag 0x")
            + QString::number(tag, 16).rightJustified(4, u'0');
    }

    /// What is read of directories without comparing it.
    static bool areHeld(const RKSparseBytes& bytes, const std::vector<Directory>& directories)
    {
        const RKTiffStructure tiff(bytes.view());
        return std::none_of(
            directories.begin(), directories.end(), [&](const Directory& directory) {
                const quint64 end
                    = quint64(tiff.endOfEntries(directory.place)) + RKTiffStructure::kNextSize;
                return bytes.hasHole({directory.place, end})
                    || std::any_of(directory.entries.begin(),
                        directory.entries.end(),
                        [&](const Entry& entry) {
                            const auto range = tiff.valueRange(entry);
                            return range && bytes.hasHole(*range);
                        });
            });
    }

    void add(const QString& difference)
    {
        if (m_differences.size() < kMaxDifferences)
            m_differences.append(difference);
    }

    bool isOwned(const QByteArray& directory, std::optional<quint16> tag) const
    {
        return std::any_of(m_owned.begin(), m_owned.end(), [&](const auto& owned) {
            if (owned.tag)
                return owned.directory == directory && owned.tag == tag;
            return owned.directory == directory
                || directory.startsWith(QByteArray(owned.directory + '/'));
        });
    }

    /// Some bytes of the range or near it are not the same at the same place.
    bool mayDiffer(const Range& range) const
    {
        return RKByteRanges::overlap(m_differing, range);
    }

    static QByteArrayView bytes(const RKTiffStructure& tiff, const Range& range)
    {
        return range.end <= quint64(tiff.bytes().size())
            ? tiff.bytes().sliced(qsizetype(range.start), qsizetype(range.size()))
            : QByteArrayView();
    }

    /// Values may overlap: only so many bytes are compared in all.
    bool areSame(const Range& before, const Range& after)
    {
        if (before.size() != after.size())
            return false;
        if (before.start == after.start && !mayDiffer(before))
            return true;
        if (before.size() > m_budget)
            return false;
        m_budget -= before.size();
        if (before.start != after.start)
            return areSameBytes(before, after);
        const auto compared = RKByteRanges::within(before, m_differing);
        return std::all_of(compared.begin(), compared.end(), [this](const Range& range) {
            return areSameBytes(range, range);
        });
    }

    bool areSameBytes(const Range& before, const Range& after) const
    {
        return !m_bytesBefore.hasHole(before) && !m_bytesAfter.hasHole(after)
            && bytes(m_before, before) == bytes(m_after, after);
    }

    /// Of pixels that reach beyond the end, those that are there.
    bool areSamePixels(const Range& before, const Range& after)
    {
        const auto end = quint64(m_before.bytes().size());
        const quint64 cut = before.end - std::clamp(end, before.start, before.end);
        return before.size() == after.size()
            && areSame({before.start, before.end - cut}, {after.start, after.end - cut});
    }

    bool areSamePixels(const std::vector<Range>& before, const std::vector<Range>& after)
    {
        return std::equal(before.begin(),
            before.end(),
            after.begin(),
            after.end(),
            [this](const Range& left, const Range& right) { return areSamePixels(left, right); });
    }

    void compareDirectories(
        const std::vector<Directory>& before, const std::vector<Directory>& after)
    {
        std::map<QByteArray, std::pair<Directory, Directory>> pairs;
        for (const Directory& directory : before)
            pairs[directory.path].first = directory;
        for (const Directory& directory : after)
            pairs[directory.path].second = directory;
        for (const auto& [path, pair] : pairs) {
            if (!isOwned(path, {}))
                compare(path, pair.first, pair.second);
        }
    }

    void compare(const QByteArray& path, const Directory& before, const Directory& after)
    {
        std::map<quint16, std::pair<std::vector<Entry>, std::vector<Entry>>> tags;
        for (const Entry& entry : before.entries)
            tags[entry.tag].first.push_back(entry);
        for (const Entry& entry : after.entries)
            tags[entry.tag].second.push_back(entry);
        for (const auto& [tag, entries] : tags) {
            const bool isSame = isOwned(path, tag)
                ? tag != RKTiffTag::kPhotoshop || hasSameResources(entries.first, entries.second)
                : std::equal(entries.first.begin(),
                    entries.first.end(),
                    entries.second.begin(),
                    entries.second.end(),
                    [this](const Entry& left, const Entry& right) {
                        return isSameEntry(left, right);
                    });
            // The directories that a pointer leads to are compared for themselves.
            const bool isNewPointer = RKTiffStructure::isPointer(tag)
                && (entries.first.empty() || entries.first.front().count == 0);
            if (!isSame && !isNewPointer)
                add(nameOf(path, tag));
        }
        if (!areSamePixels(m_before.pixelsOf(before), m_after.pixelsOf(after)))
            add(QString::fromLatin1(path) + QStringLiteral(" pixels"));
    }

    bool isSameEntry(const Entry& before, const Entry& after)
    {
        if (before.type != after.type || before.count != after.count)
            return false;
        const auto left = m_before.valueRange(before);
        const auto right = m_after.valueRange(after);
        // What lay beyond the end was never there.
        if (!left)
            return m_before.numberAt(before.field) == m_after.numberAt(after.field);
        if (!right)
            return false;
        switch (before.tag) {
        case RKTiffTag::kStripOffsets:
        case RKTiffTag::kTileOffsets:
        case RKTiffTag::kJpegOffset:
        case RKTiffTag::kSubDirectories:
        case RKTiffTag::kExifDirectory:
        case RKTiffTag::kGpsDirectory:
        case RKTiffTag::kInteroperabilityDirectory:
            // What they lead to is compared.
            return true;
        case RKTiffTag::kMakerNote:
        case RKTiffTag::kPrivateData:
            if (!m_before.isInField(before) && left->start != right->start)
                return false;
            break;
        default: break;
        }
        return areSame(*left, *right);
    }

    bool hasSameResources(const std::vector<Entry>& before, const std::vector<Entry>& after) const
    {
        const auto others = [](const RKTiffStructure& tiff, const std::vector<Entry>& entries) {
            QByteArray section;
            for (const Entry& entry : entries) {
                if (const auto range = tiff.valueRange(entry))
                    section += bytes(tiff, *range);
            }
            const RKPhotoshopResources resources(section);
            return resources.with(RKPhotoshopResources::kIptc, {});
        };
        return others(m_before, before) == others(m_after, after);
    }

    /// Bytes that no directory mentions.
    void compareRest(const std::vector<Directory>& directories)
    {
        if (m_differing.empty())
            return;
        std::vector<Range> known{{0, 8}};
        for (const Directory& directory : directories) {
            known.push_back({directory.place,
                quint64(m_before.endOfEntries(directory.place)) + RKTiffStructure::kNextSize});
            for (const Entry& entry : directory.entries) {
                if (const auto range = m_before.valueRange(entry))
                    known.push_back(*range);
            }
            const std::vector<Range> pixels = m_before.pixelsOf(directory);
            known.insert(known.end(), pixels.begin(), pixels.end());
        }
        known.push_back({quint64(m_before.bytes().size()), quint64(m_before.bytes().size())});
        std::sort(known.begin(), known.end(), [](const Range& left, const Range& right) {
            return left.start < right.start;
        });
        quint64 end = 0;
        for (const Range& range : known) {
            const Range gap{end, range.start};
            if (gap.end > gap.start && mayDiffer(gap) && !isBlank(gap) && !areSame(gap, gap))
                add(QStringLiteral("bytes at 0x") + QString::number(end, 16));
            end = std::max(end, range.end);
        }
    }

    bool isBlank(const Range& range) const
    {
        const QByteArrayView view = bytes(m_before, range);
        return !m_bytesBefore.hasHole(range)
            && std::all_of(view.begin(), view.end(), [](char byte) { return byte == 0; });
    }

    const RKSparseBytes& m_bytesBefore;
    const RKSparseBytes& m_bytesAfter;
    const RKTiffStructure m_before;
    const RKTiffStructure m_after;
    const QList<RKTiffComparison::Owned> m_owned;
    const std::vector<Range> m_differing;
    quint64 m_budget;
    QStringList m_differences;
};

} // namespace

QStringList RKTiffComparison::differences(
    const RKSparseBytes& before, const RKSparseBytes& after, const QList<Owned>& owned)
{
    return Comparison(before, after, owned).differences();
}

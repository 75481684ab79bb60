#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKIptcEditor_p.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace {

constexpr char kMarker = 0x1c;
constexpr int kNoDataSet = -1;
// A size with this bit is the number of bytes that hold the size (IIM 4.2, 1.6.2).
constexpr quint16 kExtended = 0x8000;
constexpr quint16 kExtendedSizeBytes = 4;

int idOf(quint8 record, quint8 number)
{
    return record << 8 | number;
}

/// The size of a value, read from a header; nullopt for one of more than 32 bits.
std::optional<quint64> sizeOfValue(RKByteReader& reader)
{
    const auto size = reader.number<quint16>();
    if ((size & kExtended) == 0)
        return size;
    const quint16 count = size & ~kExtended;
    if (count > kExtendedSizeBytes)
        return std::nullopt;
    quint64 extended = 0;
    for (quint16 i = 0; i < count; ++i)
        extended = extended << 8 | reader.number<quint8>();
    return extended;
}

/// A data set as bytes; empty for a value that is too large.
QByteArray encoded(int id, const QByteArray& value)
{
    if (quint64(value.size()) > std::numeric_limits<quint32>::max())
        return {};
    QByteArray set(1, kMarker);
    const auto append = [&set](auto number) {
        const auto bigEndian = qToBigEndian(number);
        set.append(reinterpret_cast<const char*>(&bigEndian), sizeof(bigEndian));
    };
    append(static_cast<quint16>(id));
    if (value.size() < kExtended) {
        append(static_cast<quint16>(value.size()));
    } else {
        append(static_cast<quint16>(kExtended | kExtendedSizeBytes));
        append(static_cast<quint32>(value.size()));
    }
    return set + value;
}

/// The data sets of a change.
std::optional<QByteArray> encoded(const RKIptcEditor::Change& change)
{
    QByteArray sets;
    for (const QByteArray& value : change.values) {
        const QByteArray set = encoded(idOf(change.record, change.number), value);
        if (set.isEmpty())
            return std::nullopt;
        sets += set;
    }
    return sets;
}

} // namespace

RKIptcEditor::RKIptcEditor(const QByteArray& bytes)
    : m_bytes(bytes)
{
    const QByteArrayView all(m_bytes);
    qsizetype at = 0;
    while (at < all.size()) {
        RKByteReader reader(all.sliced(at));
        const bool isMarked = reader.number<quint8>() == kMarker;
        const auto id = reader.number<quint16>();
        const std::optional<quint64> size = isMarked ? sizeOfValue(reader) : std::nullopt;
        const qsizetype headerSize = all.size() - at - reader.rest().size();
        if (size)
            reader.take(*size);
        if (size && reader.isGood()) {
            const qsizetype end = all.size() - reader.rest().size();
            m_pieces.append({id, headerSize, all.sliced(at, end - at)});
            at = end;
            continue;
        }
        // Some files have other bytes between the data sets; readers look for the next marker. A
        // data set that is cut off is kept as a whole, whatever its bytes look like.
        const qsizetype next = isMarked ? -1 : all.indexOf(kMarker, at + 1);
        const qsizetype end = next < 0 ? all.size() : next;
        m_pieces.append({kNoDataSet, 0, all.sliced(at, end - at)});
        at = end;
    }
}

QList<RKIptcEditor::DataSet> RKIptcEditor::dataSets() const
{
    QList<DataSet> sets;
    for (const Piece& piece : m_pieces) {
        if (piece.id != kNoDataSet) {
            sets.append({static_cast<quint8>(piece.id >> 8),
                static_cast<quint8>(piece.id),
                piece.bytes.sliced(piece.headerSize).toByteArray()});
        }
    }
    return sets;
}

QByteArray RKIptcEditor::joined(const QByteArrayList& blocks)
{
    if (blocks.size() == 1)
        return blocks.constFirst();
    QByteArray result;
    std::set<int> known;
    for (const QByteArray& block : blocks) {
        const RKIptcEditor editor(block);
        std::set<int> own;
        for (const Piece& piece : editor.m_pieces) {
            if (piece.id == kNoDataSet || known.count(piece.id) != 0)
                continue;
            result += piece.bytes;
            own.insert(piece.id);
        }
        known.merge(own);
    }
    return result;
}

std::optional<QByteArray> RKIptcEditor::changed(const QList<Change>& changes) const
{
    std::map<int, QByteArray> replacements;
    for (const Change& change : changes) {
        const auto sets = encoded(change);
        if (!sets)
            return std::nullopt;
        replacements[idOf(change.record, change.number)] = *sets;
    }
    std::map<int, QByteArray> additions = replacements;
    for (const Piece& piece : m_pieces)
        additions.erase(piece.id);

    QByteArray result;
    bool hasSets = false;
    const auto appendSets = [&result, &hasSets](QByteArrayView sets) {
        result += sets;
        hasSets = hasSets || !sets.isEmpty();
    };
    const auto addUpTo = [&](std::map<int, QByteArray>::iterator end) {
        for (auto addition = additions.begin(); addition != end; ++addition)
            appendSets(addition->second);
        additions.erase(additions.begin(), end);
    };
    const auto isSet = [](const Piece& piece) { return piece.id != kNoDataSet; };
    const auto endOfSets = std::find_if(m_pieces.rbegin(), m_pieces.rend(), isSet).base();
    for (auto piece = m_pieces.begin(); piece != endOfSets; ++piece) {
        if (!isSet(*piece)) {
            result += piece->bytes;
            continue;
        }
        addUpTo(additions.lower_bound(piece->id));
        if (const auto replacement = replacements.find(piece->id);
            replacement == replacements.end()) {
            appendSets(piece->bytes);
        } else {
            appendSets(replacement->second);
            // The others of the group follow the first one.
            replacement->second.clear();
        }
    }
    addUpTo(additions.end());
    std::for_each(
        endOfSets, m_pieces.end(), [&result](const Piece& piece) { result += piece.bytes; });
    return hasSets ? result : QByteArray();
}

#pragma once

#include <QtGlobal>

#include <vector>

/// A range of a file's bytes: the first one, and the one after the last.
struct RKByteRange
{
    quint64 start = 0;
    quint64 end = 0;

    quint64 size() const
    {
        return end - start;
    }
};

/// Sets of bytes as lists of ranges that are in order, not empty, and neither overlap nor touch.
namespace RKByteRanges {

using List = std::vector<RKByteRange>;

/// The set of the bytes of any ranges; gaps of up to so many bytes between them are taken in.
List united(List ranges, quint64 maxGap = 0);

/// Whether some bytes of the range are in the set.
bool overlap(const List& set, const RKByteRange& range);

/// The bytes of a range that are in the set, or not. Both cost no more than what the set has inside
/// the range.
List within(const RKByteRange& range, const List& set);
List without(const RKByteRange& range, const List& set);
List without(const List& set, const List& removed);

} // namespace RKByteRanges

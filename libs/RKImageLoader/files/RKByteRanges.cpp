#include "RKImageLoader/files/RKByteRanges_p.h"

#include <algorithm>

namespace {

/// The first range of a set that ends after a place.
RKByteRanges::List::const_iterator firstAfter(const RKByteRanges::List& set, quint64 place)
{
    return std::lower_bound(
        set.begin(), set.end(), place, [](const RKByteRange& range, quint64 start) {
            return range.end <= start;
        });
}

} // namespace

RKByteRanges::List RKByteRanges::united(List ranges, quint64 maxGap)
{
    std::sort(ranges.begin(), ranges.end(), [](const RKByteRange& left, const RKByteRange& right) {
        return left.start < right.start;
    });
    List set;
    for (const RKByteRange& range : ranges) {
        if (range.end <= range.start)
            continue;
        if (!set.empty()
            && (range.start <= set.back().end || range.start - set.back().end <= maxGap))
            set.back().end = std::max(set.back().end, range.end);
        else
            set.push_back(range);
    }
    return set;
}

bool RKByteRanges::overlap(const List& set, const RKByteRange& range)
{
    const auto first = firstAfter(set, range.start);
    return first != set.end() && first->start < range.end && range.start < range.end;
}

RKByteRanges::List RKByteRanges::within(const RKByteRange& range, const List& set)
{
    List parts;
    for (auto next = firstAfter(set, range.start); next != set.end() && next->start < range.end;
         ++next)
        parts.push_back({std::max(next->start, range.start), std::min(next->end, range.end)});
    return parts;
}

RKByteRanges::List RKByteRanges::without(const RKByteRange& range, const List& set)
{
    List rest;
    quint64 start = range.start;
    for (auto next = firstAfter(set, start); next != set.end() && next->start < range.end; ++next) {
        if (next->start > start)
            rest.push_back({start, next->start});
        start = next->end;
    }
    if (start < range.end)
        rest.push_back({start, range.end});
    return rest;
}

RKByteRanges::List RKByteRanges::without(const List& set, const List& removed)
{
    List rest;
    for (const RKByteRange& range : set) {
        const List parts = without(range, removed);
        rest.insert(rest.end(), parts.begin(), parts.end());
    }
    return rest;
}

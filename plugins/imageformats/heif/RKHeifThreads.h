#pragma once

#include <QSize>

/// How many threads decode the tiles of a picture side by side.
namespace RKHeifThreads {

inline int count(const QSize& picture)
{
    constexpr int kMaxThreads = 4;
    // Starting threads takes longer than small pictures do.
    constexpr qint64 kWorthThreads = 1 << 20;
    const bool isLarge = qint64(picture.width()) * picture.height() >= kWorthThreads;
    return isLarge ? kMaxThreads : 1;
}

} // namespace RKHeifThreads

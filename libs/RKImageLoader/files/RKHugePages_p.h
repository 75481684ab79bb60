#pragma once

#include <QtGlobal>

#ifdef Q_OS_LINUX
#    include <sys/mman.h>
#endif

namespace RKHugePages {

/// Has the system back new memory that will be written as a whole with pages of 2 MiB, as far as
/// they fit in. Page by page of 4 KiB, a large picture waits longer for its memory than for a copy
/// of its pixels. A hint; failure changes nothing.
inline void advise([[maybe_unused]] void* memory, [[maybe_unused]] qsizetype size)
{
#ifdef Q_OS_LINUX
    constexpr quintptr kHugePage = 2 << 20;
    const auto begin = quintptr(memory);
    const quintptr first = (begin + kHugePage - 1) / kHugePage * kHugePage;
    const quintptr end = (begin + quintptr(size)) / kHugePage * kHugePage;
    if (first < end)
        ::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

} // namespace RKHugePages

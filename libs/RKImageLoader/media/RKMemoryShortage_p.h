#pragma once

#include <QtGlobal>

#include <algorithm>
#include <new>

// Apart from the rest of RKMemory, since the module for videos has no more of the library.
namespace RKMemory {

/// Whether the system refuses so much memory now.
inline bool isShortOf(qint64 bytes)
{
    // A header that promises more than any machine has is damage; sanitizers end the process, too.
    constexpr qint64 kMaxTried = 1 << 30;
    void* const room = ::operator new(size_t(std::min(bytes, kMaxTried)), std::nothrow);
    ::operator delete(room);
    return !room;
}

} // namespace RKMemory

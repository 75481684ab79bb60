#pragma once

#include <QtGlobal>

#include <ctime>

/// Limits of time for tests. They hold for the program as it is released; sanitizers and the
/// counting of lines, which slow it down several times over, get ten times as much.
namespace RKTimeLimit {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(RK_COVERAGE)
#    define RK_SLOWED_DOWN
#elif defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#        define RK_SLOWED_DOWN
#    endif
#endif
#ifdef RK_SLOWED_DOWN
inline constexpr qint64 kSanitizerFactor = 10;
#else
inline constexpr qint64 kSanitizerFactor = 1;
#endif

constexpr qint64 milliseconds(qint64 released)
{
    return released * kSanitizerFactor;
}

/// What this process has worked since an earlier answer, in milliseconds: on a busy machine, less
/// than the time that has passed.
inline qint64 worked(qint64 since = 0)
{
    return std::clock() / (CLOCKS_PER_SEC / 1000) - since;
}

} // namespace RKTimeLimit

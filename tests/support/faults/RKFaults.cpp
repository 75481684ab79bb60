#include "support/faults/RKFaults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

namespace {

struct State
{
    RKFaults::Call call = RKFaults::AnyCall;
    // Counted down to the call that meets the fault; 0 after it, negative while none is to.
    int number = -1;
    int fault = 0;
    RKFaults::Duration duration = RKFaults::Once;
    bool hasHappened = false;

    State()
    {
        int wanted = 0;
        const char* const text = getenv("RK_FAULT");
        if (text && sscanf(text, "%d %d %d", &wanted, &number, &fault) == 3)
            call = RKFaults::Call(wanted);
    }
};

State& state()
{
    static State theState;
    return theState;
}

/// The fault that this call meets; 0 for none.
int faultOf(RKFaults::Call call)
{
    State& current = state();
    const bool isCounted
        = current.number > 0 && (current.call == call || current.call == RKFaults::AnyCall);
    if (!isCounted || --current.number > 0)
        return 0;
    current.hasHappened = true;
    if (current.duration == RKFaults::Lasting)
        current.number = 1;
    if (current.fault == RKFaults::Kill)
        kill(getpid(), SIGKILL);
    return current.fault;
}

bool fails(RKFaults::Call call)
{
    const int fault = faultOf(call);
    if (fault > 0)
        errno = fault;
    return fault > 0;
}

template <typename Function>
ssize_t move(RKFaults::Call call, size_t size, Function function)
{
    const int fault = faultOf(call);
    if (fault > 0) {
        errno = fault;
        return -1;
    }
    return function(fault == RKFaults::Short ? (size + 1) / 2 : size);
}

template <typename Function>
Function* real(Function*, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

void RKFaults::arm(Call call, int number, int fault, Duration duration)
{
    state().call = call;
    state().fault = fault;
    state().duration = duration;
    state().hasHappened = false;
    state().number = number;
}

bool RKFaults::disarm()
{
    state().number = -1;
    return state().hasHappened;
}

// Defines a call of the system anew: it fails, or does what the system's does.
#define RK_FAILING(call, result, failure, name, parameters, arguments)                             \
    extern "C" __attribute__((visibility("default"))) result name parameters                       \
    {                                                                                              \
        return fails(RKFaults::call) ? failure : real(&::name, #name) arguments;                   \
    }

// The same for a call that moves bytes, whose number it may reduce.
#define RK_MOVING(call, name, parameters, arguments)                                               \
    extern "C" __attribute__((visibility("default"))) ssize_t name parameters                      \
    {                                                                                              \
        return move(                                                                               \
            RKFaults::call, size, [&](size_t step) { return real(&::name, #name) arguments; });    \
    }

// The same for a call with a mode where it creates a file.
#define RK_OPENING(name, parameters, arguments)                                                    \
    extern "C" __attribute__((visibility("default"))) int name parameters                          \
    {                                                                                              \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;       \
        va_end(list);                                                                              \
        return fails(RKFaults::Open) ? -1 : real(&::name, #name) arguments;                        \
    }

RK_OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
RK_OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
RK_OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
RK_OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
RK_FAILING(Open, FILE*, nullptr, fopen, (const char* path, const char* mode), (path, mode))
RK_FAILING(Open, FILE*, nullptr, fopen64, (const char* path, const char* mode), (path, mode))

RK_MOVING(Read, read, (int file, void* bytes, size_t size), (file, bytes, step))
RK_MOVING(Read, pread, (int file, void* bytes, size_t size, off_t at), (file, bytes, step, at))
RK_MOVING(Read, pread64, (int file, void* bytes, size_t size, off64_t at), (file, bytes, step, at))
RK_MOVING(Write, write, (int file, const void* bytes, size_t size), (file, bytes, step))
RK_MOVING(
    Write, pwrite, (int file, const void* bytes, size_t size, off_t at), (file, bytes, step, at))
RK_MOVING(Write,
    pwrite64,
    (int file, const void* bytes, size_t size, off64_t at),
    (file, bytes, step, at))
RK_MOVING(Write,
    copy_file_range,
    (int from, off64_t* fromAt, int to, off64_t* toAt, size_t size, unsigned flags),
    (from, fromAt, to, toAt, step, flags))

// While calls are counted, no flush waits for the disk: there will be no power cut.
extern "C" __attribute__((visibility("default"))) int fsync(int file)
{
    if (fails(RKFaults::Flush))
        return -1;
    return state().number >= 0 ? 0 : real(&::fsync, "fsync")(file);
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    return fsync(file);
}

RK_FAILING(Rename, int, -1, rename, (const char* from, const char* to) noexcept, (from, to))
RK_FAILING(Rename,
    int,
    -1,
    renameat,
    (int fromFolder, const char* from, int toFolder, const char* to) noexcept,
    (fromFolder, from, toFolder, to))
RK_FAILING(Rename,
    int,
    -1,
    renameat2,
    (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept,
    (fromFolder, from, toFolder, to, flags))

RK_FAILING(Link, int, -1, link, (const char* from, const char* to) noexcept, (from, to))
RK_FAILING(Link,
    int,
    -1,
    linkat,
    (int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept,
    (fromFolder, from, toFolder, to, flags))

RK_FAILING(Resize, int, -1, ftruncate, (int file, off_t size) noexcept, (file, size))
RK_FAILING(Resize, int, -1, ftruncate64, (int file, off64_t size) noexcept, (file, size))
RK_FAILING(Resize,
    int,
    -1,
    fallocate,
    (int file, int mode, off_t offset, off_t size),
    (file, mode, offset, size))
RK_FAILING(Resize,
    int,
    -1,
    fallocate64,
    (int file, int mode, off64_t offset, off64_t size),
    (file, mode, offset, size))

// A close that fails has closed all the same.
extern "C" __attribute__((visibility("default"))) int close(int file)
{
    const bool isFailing = fails(RKFaults::Close);
    const int error = errno;
    const int result = real(&::close, "close")(file);
    if (isFailing)
        errno = error;
    return isFailing ? -1 : result;
}

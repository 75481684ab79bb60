#include "support/faults/RKFaults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace {

struct State
{
    RKFaults::Call call = RKFaults::AnyCall;
    // Counted down to the call that meets the fault; 0 after it, negative while none is to.
    std::atomic_int number = -1;
    int fault = 0;
    RKFaults::Duration duration = RKFaults::Once;
    bool hasHappened = false;

    State()
    {
        int wantedCall = 0;
        int wantedNumber = 0;
        const char* const text = getenv("RK_FAULT");
        if (!text || sscanf(text, "%d %d %d", &wantedCall, &wantedNumber, &fault) != 3)
            return;
        call = RKFaults::Call(wantedCall);
        number = wantedNumber;
    }
};

State& state()
{
    static State theState;
    return theState;
}

template <typename Function>
Function* real(Function*, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isWatched(const char* path)
{
    static const char* const folder = getenv("RK_FAULT_FOLDER");
    return !folder || strncmp(path, folder, strlen(folder)) == 0;
}

bool isWatched(int file)
{
    char link[32];
    char path[4096] = "";
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    return readlink(link, path, sizeof path - 1) > 0 && isWatched(path);
}

void log(const char* name)
{
    const char* const path = getenv("RK_FAULT_LOG");
    const int file = path ? real(&::open, "open")(path, O_WRONLY | O_CREAT | O_TRUNC, 0600) : -1;
    if (file < 0)
        return;
    // What the standard library calls itself is not defined anew.
    dprintf(file, "%s", name);
    real(&::close, "close")(file);
}

/// The fault that this call meets; 0 for none. The subject is the file's descriptor or path.
template <typename Subject>
int faultOf(RKFaults::Call call, const char* name, Subject subject)
{
    State& current = state();
    const bool isCounted = current.number > 0
        && (current.call == call || current.call == RKFaults::AnyCall) && isWatched(subject);
    if (!isCounted || --current.number != 0)
        return 0;
    current.hasHappened = true;
    if (current.duration == RKFaults::Lasting)
        current.number = 1;
    log(name);
    if (current.fault == RKFaults::Kill)
        kill(getpid(), SIGKILL);
    return current.fault;
}

template <typename Subject>
bool fails(RKFaults::Call call, const char* name, Subject subject)
{
    const int fault = faultOf(call, name, subject);
    if (fault > 0)
        errno = fault;
    return fault > 0;
}

template <typename Function>
ssize_t move(RKFaults::Call call, const char* name, int file, size_t size, Function function)
{
    const int fault = faultOf(call, name, file);
    if (fault > 0) {
        errno = fault;
        return -1;
    }
    return function(fault == RKFaults::Short ? (size + 1) / 2 : size);
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
#define RK_FAILING(call, result, failure, name, subject, parameters, arguments)                    \
    extern "C" __attribute__((visibility("default"))) result name parameters                       \
    {                                                                                              \
        return fails(RKFaults::call, #name, subject) ? failure : real(&::name, #name) arguments;   \
    }

// The same for a call that moves bytes, whose number it may reduce.
#define RK_MOVING(call, name, parameters, arguments)                                               \
    extern "C" __attribute__((visibility("default"))) ssize_t name parameters                      \
    {                                                                                              \
        return move(RKFaults::call, #name, file, size, [&](size_t step) {                          \
            return real(&::name, #name) arguments;                                                 \
        });                                                                                        \
    }

// The same for a call with a mode where it creates a file.
#define RK_OPENING(name, parameters, arguments)                                                    \
    extern "C" __attribute__((visibility("default"))) int name parameters                          \
    {                                                                                              \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;       \
        va_end(list);                                                                              \
        return fails(RKFaults::Open, #name, path) ? -1 : real(&::name, #name) arguments;           \
    }

RK_OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
RK_OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
RK_OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
RK_OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
RK_FAILING(Open, FILE*, nullptr, fopen, path, (const char* path, const char* mode), (path, mode))
RK_FAILING(Open, FILE*, nullptr, fopen64, path, (const char* path, const char* mode), (path, mode))

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
    (int from, off64_t* fromAt, int file, off64_t* at, size_t size, unsigned flags),
    (from, fromAt, file, at, step, flags))

// While calls are counted, no flush waits for the disk: there will be no power cut.
extern "C" __attribute__((visibility("default"))) int fsync(int file)
{
    if (fails(RKFaults::Flush, "fsync", file))
        return -1;
    return state().number >= 0 ? 0 : real(&::fsync, "fsync")(file);
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int file)
{
    return fsync(file);
}

RK_FAILING(Rename, int, -1, rename, to, (const char* from, const char* to) noexcept, (from, to))
RK_FAILING(Rename,
    int,
    -1,
    renameat,
    to,
    (int fromFolder, const char* from, int toFolder, const char* to) noexcept,
    (fromFolder, from, toFolder, to))
RK_FAILING(Rename,
    int,
    -1,
    renameat2,
    to,
    (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept,
    (fromFolder, from, toFolder, to, flags))

RK_FAILING(Link, int, -1, link, to, (const char* from, const char* to) noexcept, (from, to))
RK_FAILING(Link,
    int,
    -1,
    linkat,
    to,
    (int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept,
    (fromFolder, from, toFolder, to, flags))

RK_FAILING(Resize, int, -1, ftruncate, file, (int file, off_t size) noexcept, (file, size))
RK_FAILING(Resize, int, -1, ftruncate64, file, (int file, off64_t size) noexcept, (file, size))
RK_FAILING(Resize,
    int,
    -1,
    fallocate,
    file,
    (int file, int mode, off_t offset, off_t size),
    (file, mode, offset, size))
RK_FAILING(Resize,
    int,
    -1,
    fallocate64,
    file,
    (int file, int mode, off64_t offset, off64_t size),
    (file, mode, offset, size))

RK_FAILING(Attribute, int, -1, chmod, path, (const char* path, mode_t mode) noexcept, (path, mode))
RK_FAILING(Attribute, int, -1, fchmod, file, (int file, mode_t mode) noexcept, (file, mode))
RK_FAILING(Attribute,
    int,
    -1,
    fchown,
    file,
    (int file, uid_t user, gid_t group) noexcept,
    (file, user, group))
RK_FAILING(
    Attribute, int, -1, futimens, file, (int file, const timespec* times) noexcept, (file, times))
RK_FAILING(Attribute,
    int,
    -1,
    fsetxattr,
    file,
    (int file, const char* name, const void* value, size_t size, int flags) noexcept,
    (file, name, value, size, flags))
RK_FAILING(MakeFolder, int, -1, mkdir, path, (const char* path, mode_t mode) noexcept, (path, mode))
RK_FAILING(MakeFolder, char*, nullptr, mkdtemp, path, (char* path) noexcept, (path))

// A close that fails has closed all the same.
extern "C" __attribute__((visibility("default"))) int close(int file)
{
    const bool isFailing = fails(RKFaults::Close, "close", file);
    const int error = errno;
    const int result = real(&::close, "close")(file);
    if (isFailing)
        errno = error;
    return isFailing ? -1 : result;
}

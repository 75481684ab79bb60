#pragma once

/// Makes calls of the system fail in this program, or in one that is started with this library in
/// LD_PRELOAD and RK_FAULT="CALL NUMBER FAULT" with the numbers of arm(). Linux only.
///
/// Two variables of the environment are for such programs: RK_FAULT_FOLDER has only calls counted
/// that open, change or name a file below that folder; RK_FAULT_LOG names a file to which the call
/// that meets the fault is written.
///
/// The library defines the calls itself and has to be linked before all others.
namespace RKFaults {

enum Call
{
    Open,
    Read,
    Write,
    Flush,
    Rename,
    Link,
    Resize,
    Close,
    /// Mode, owner, times and extended attributes.
    Attribute,
    MakeFolder,
    AnyCall
};

/// Other than errors: the call transfers about half of what it was asked to, or the process is
/// killed before it.
enum Fault
{
    Short = -1,
    Kill = -2
};

enum Duration
{
    Once,
    /// All later calls meet it, too.
    Lasting
};

/// The call with that number from now on, counted from 1, meets the fault: an error of errno.h, or
/// one of the above. Other threads may make calls, but their order is not known then.
__attribute__((visibility("default"))) void arm(
    Call call, int number, int fault, Duration duration = Once);

/// Ends it; whether there were as many calls.
__attribute__((visibility("default"))) bool disarm();

} // namespace RKFaults

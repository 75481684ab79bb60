#pragma once

/// The messages of libtiff, which reads TIFF files for Qt, too. Thread-safe.
class RKTiffLog
{
public:
    RKTiffLog() = delete;

    /// Sends the messages of the whole process to the category rk.load, as debug messages, instead
    /// of the error stream: a picture that fails has a warning of its own.
    static void redirect();
};

#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <system_error>

class RKFileReplacement;
class RKFileSnapshot;

/// Gives a file a new content, all of it or none: after a failure, and after a crash or a power
/// cut, the path still holds the complete old file, or the complete new one.
///
/// Symbolic links are followed; mode, owner, access lists and extended attributes stay. The new
/// content becomes durable in a file of its own beside the old one, ".NAME.rksaveN~", that then
/// takes the old one's place. The file is overwritten instead for three reasons only: it has
/// further hard links; the process may not give a new file its owner or its attributes; the process
/// may not create or rename files in the folder. The new content is then completed in the folder
/// for temporary files first, space is reserved, and the old content is written back after an
/// error; but a crash in between damages the file. Any other error is a failure.
///
/// Writers of one file wait for each other, in all processes, where the file system has advisory
/// locks. Reentrant.
class RKSafeFileWriter
{
public:
    enum class Result
    {
        /// The path leads to the new content. If the folder could not be flushed, errorString()
        /// says why; a power cut may then still bring the old file back.
        Done,
        /// The file may not be written, or is not a file; it was not touched.
        NotWritable,
        /// The file is no longer the one that was read; it was not touched.
        Changed,
        /// The file could not be written and is as it was. If an overwritten file could not be
        /// restored, errorString() names a file that has its old content.
        Failed
    };

    /// A local path.
    explicit RKSafeFileWriter(const QString& path);

    /// A file that does not exist is created. Fails in a thread that holds a snapshot of the file
    /// for replacement.
    Result write(const QByteArray& content);

    /// Replaces the file that was read, which must have been opened for replacement, by pieces of
    /// it and of memory. Ranges are copied with a small buffer, or by sharing blocks of the disk.
    Result replace(const RKFileSnapshot& source, const QList<RKFilePiece>& pieces);

    /// Why the last write did not succeed, in the system's words.
    QString errorString() const;
    /// The same as a value; resource_unavailable_try_again for Result::Changed.
    std::error_code error() const;

private:
    using Pieces = QList<RKFilePiece>;

    Result fail(Result result, const std::error_code& error);
    Result create(const QByteArray& content);
    Result finish(const RKFileReplacement& replacement);
    Result overwrite(const RKFileSnapshot& source, const Pieces& pieces);

    // With links followed.
    const QByteArray m_path;
    QString m_errorString;
    std::error_code m_error;
};

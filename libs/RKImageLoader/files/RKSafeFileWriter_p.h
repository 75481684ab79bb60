#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QString>

/// Gives a file a new content, all of it or none: after a failure, and after a crash or a power
/// cut, the path still holds the complete old file, or the complete new one.
///
/// Symbolic links are followed; mode, owner, access lists and extended attributes stay. The new
/// content becomes durable in a file of its own that then takes the old one's place. Where that
/// would change more than the content - a file with further hard links or of another owner, a
/// directory that cannot be written - the file is overwritten instead: space is reserved first and
/// the old content written back after an error, but a crash in between damages it.
///
/// Reentrant. Does not keep two writers of one file apart.
class RKIMAGELOADER_TEST_EXPORT RKSafeFileWriter
{
public:
    enum class Result
    {
        Done,
        /// The file may not be written, or is none; it was not touched.
        NotWritable,
        /// The file could not be written and is as it was.
        Failed
    };

    /// A local path. A file that does not exist is created.
    explicit RKSafeFileWriter(const QString& path);

    Result write(const QByteArray& content);

    /// Why the last write() did not succeed, in the system's words; empty after success.
    QString errorString() const;

private:
    Result fail(Result result, int error);
    Result create(const QByteArray& content);
    bool replace(int file, const QByteArray& content, Result* result);
    Result overwrite(int file, const QByteArray& content);

    QString m_path;
    QString m_errorString;
};

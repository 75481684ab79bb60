#pragma once

#include <QByteArray>
#include <QList>

/// The colour profile of a picture in boxes, as HEIC and AVIF have it (ISO/IEC 14496-12, 12.1.5;
/// ISO/IEC 23008-12, 6.5.5), for files in which another reader fails because of it.
///
/// Reentrant.
class RKHeifProfile
{
public:
    explicit RKHeifProfile(const QByteArray& file);

    /// The bytes in the first box with a profile, unchecked; empty without one.
    QByteArray profile() const;

    /// The file in which all boxes with a profile have become free space, of the same size; empty
    /// if there is none.
    QByteArray fileWithoutProfile() const;

private:
    struct Box
    {
        /// The place of its type.
        qint64 type = 0;
        /// The content, without the headers.
        qint64 begin = 0;
        qint64 end = 0;
    };

    void search(qint64 begin, qint64 end, int depth);

    const QByteArray m_file;
    QList<Box> m_profiles;
};

#pragma once

#include "RKImageLoader/files/RKFileDescriptor_p.h"

#include <QByteArray>

/// A new file that is written beside the one whose place it is going to take. What remains of a
/// process that was killed is recognised by its name, and removed with the next replacement.
class RKFileReplacement
{
    Q_DISABLE_COPY_MOVE(RKFileReplacement)

public:
    /// The bytes of an absolute path to the file to replace, which need not exist.
    explicit RKFileReplacement(const QByteArray& path);
    /// Removes the new file unless it has taken its place.
    ~RKFileReplacement();

    std::error_code create(mode_t mode);
    const RKFileDescriptor& descriptor() const;

    /// Gives the new file its place. It must be durable by then.
    std::error_code takePlace();
    /// Leaves the new file beside the old one; its path.
    QByteArray keep();
    /// Makes the new place durable.
    std::error_code flushFolder() const;

private:
    QByteArray pathOf(int number) const;
    bool isAt(const QByteArray& path) const;

    const QByteArray m_target;
    RKFileDescriptor m_file;
    // Empty while there is no file to remove.
    QByteArray m_path;
};

#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"
#include "RKImageLoader/files/RKFileDescriptor_p.h"

#include <QString>

#include <chrono>
#include <map>

/// A regular file that was opened once, so that all reads are of one file whatever becomes of its
/// path; it can say later whether the path still leads to the same file, unchanged.
///
/// Reentrant.
class RKFileSnapshot final : public RKByteSource
{
public:
    enum class Use
    {
        Read,
        /// Keeps other snapshots for replacement waiting, also those of other processes, and
        /// remembers what was read. A file that may not be written is opened all the same.
        Replace
    };

    /// How long another snapshot for replacement is waited for: one save of a very large file.
    static constexpr std::chrono::seconds kMaxWait{30};

    /// Follows symbolic links. Anything but a regular file is an error, also a pipe, which is not
    /// waited for. File systems without advisory locks keep nobody waiting.
    explicit RKFileSnapshot(
        const QString& path, Use use = Use::Read, std::chrono::milliseconds maxWait = kMaxWait);
    /// By the bytes of a path, which need not be in the system's encoding.
    RKFileSnapshot(const QByteArray& path, Use use, std::chrono::milliseconds maxWait = kMaxWait);

    bool isOpen() const;
    /// Whether there is no file at that path.
    bool isMissing() const;
    /// Whether it was opened for replacement and the file may be written.
    bool isWritable() const;
    /// Why the file could not be opened, may not be written or, last, was not read. Empty if all
    /// went well.
    QString errorString() const;
    /// The same as a value: is_a_directory and not_supported for what is not a regular file,
    /// device_or_resource_busy if it is locked.
    std::error_code error() const;
    /// Whether a read inside the file failed: what was made of the bytes since is incomplete.
    bool hasReadError() const;

    /// In bytes, when the file was opened.
    qint64 size() const override;
    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override;
    /// The error is operation_canceled if it was.
    bool readAll(QByteArray* bytes, const RKCancellation& cancellation = {}) const;

    /// Whether the path leads to this file, with the same size, times and bytes where it was read.
    /// Times alone are too coarse: two changes within some milliseconds share one.
    bool isUnchangedAt(const QByteArray& path) const;

    const RKFileDescriptor& descriptor() const;

private:
    /// What distinguishes two files, and two states of one.
    struct Identity
    {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified = {};
        timespec changed = {};

        bool operator==(const Identity& other) const;
    };

    static Identity identityOf(const struct stat& status);
    static bool identityAt(const QByteArray& path, Identity* identity);

    bool read(
        qint64 offset, qint64 size, QByteArray* bytes, const RKCancellation& cancellation) const;
    void openForReplacement(const QByteArray& path, std::chrono::milliseconds maxWait);
    bool openWritable(const QByteArray& path);
    bool openReadable(const QByteArray& path);
    bool identify();
    void rememberBlocks(qint64 offset, const QByteArray& bytes) const;
    bool hasSameBlocks() const;
    bool fail(std::errc error, const QString& reason) const;
    bool fail(const std::error_code& error) const;

    RKFileDescriptor m_file;
    Identity m_identity;
    bool m_remembers = false;
    bool m_isMissing = false;
    bool m_isWritable = false;
    mutable bool m_hasReadError = false;
    // A block changed between two reads of it.
    mutable bool m_isTorn = false;
    mutable QString m_errorString;
    mutable std::error_code m_error;
    // Hashes of the blocks that were read, by their number.
    mutable std::map<qint64, size_t> m_blocks;
};

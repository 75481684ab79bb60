#include "RKImageLoader/files/RKFileAttributes_p.h"
#include "RKImageLoader/files/RKFileReplacement_p.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKSafeFileWriter_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdlib>
#include <memory>
#include <numeric>

namespace {

using Pieces = QList<RKFilePiece>;

constexpr mode_t kOwnerOnly = 0600;
constexpr std::errc kChanged = std::errc::resource_unavailable_try_again;

/// Where a path leads to, also where that does not exist yet. The bytes as the system has them: a
/// link may lead to a name that is not in the system's encoding.
QByteArray target(const QString& path)
{
    const std::unique_ptr<char, decltype(&std::free)> existing(
        ::realpath(QFile::encodeName(path).constData(), nullptr), &std::free);
    if (existing)
        return existing.get();
    const QFileInfo info(path);
    return QFile::encodeName(info.isSymLink() ? info.symLinkTarget() : info.absoluteFilePath());
}

/// The process may not do that in this folder, or not with this file.
bool isForbidden(const std::error_code& error)
{
    return error == std::errc::permission_denied || error == std::errc::operation_not_permitted
        || error == std::errc::read_only_file_system;
}

bool isInside(const RKFilePiece& piece, qint64 size)
{
    return piece.offset >= 0 && piece.size >= 0 && piece.offset <= size
        && piece.size <= size - piece.offset;
}

qint64 sizeOf(const RKFilePiece& piece)
{
    return piece.size > 0 ? piece.size : piece.bytes.size();
}

qint64 sizeOf(const Pieces& pieces)
{
    return std::accumulate(
        pieces.cbegin(), pieces.cend(), qint64(0), [](qint64 size, const RKFilePiece& piece) {
            return size + sizeOf(piece);
        });
}

std::error_code writePieces(
    const Pieces& pieces, const RKFileDescriptor& source, const RKFileDescriptor& file)
{
    qint64 end = 0;
    for (const RKFilePiece& piece : pieces) {
        const std::error_code error = piece.size > 0
            ? file.copy(source, piece.offset, end, piece.size)
            : file.write(end, piece.bytes.constData(), piece.bytes.size());
        if (error)
            return error;
        end += sizeOf(piece);
    }
    return {};
}

/// Makes the file's content durable before its length follows, so that it never ends early.
std::error_code setContent(
    const RKFileDescriptor& file, const RKFileDescriptor& content, qint64 size)
{
    std::error_code error = file.copy(content, 0, 0, size);
    if (!error)
        error = file.flush();
    if (!error)
        error = file.resize(size);
    return error ? error : file.flush();
}

/// A file in the folder for temporary files.
QByteArray sparePath(const QByteArray& path)
{
    return QFile::encodeName(QDir::tempPath()) + path.mid(path.lastIndexOf('/'));
}

} // namespace

RKSafeFileWriter::RKSafeFileWriter(const QString& path)
    : m_path(target(path))
{
}

QString RKSafeFileWriter::errorString() const
{
    return m_errorString;
}

std::error_code RKSafeFileWriter::error() const
{
    return m_error;
}

RKSafeFileWriter::Result RKSafeFileWriter::fail(Result result, const std::error_code& error)
{
    m_error = error;
    m_errorString = QString::fromStdString(error.message());
    return result;
}

RKSafeFileWriter::Result RKSafeFileWriter::write(const QByteArray& content)
{
    constexpr int kMaxAttempts = 3;
    Result result = Result::Changed;
    for (int attempt = 0; attempt < kMaxAttempts && result == Result::Changed; ++attempt) {
        const RKFileSnapshot existing(m_path, RKFileSnapshot::Use::Replace);
        result = existing.isMissing() ? create(content) : replace(existing, {{content}});
    }
    return result;
}

RKSafeFileWriter::Result RKSafeFileWriter::create(const QByteArray& content)
{
    constexpr mode_t kModeBeforeMask = 0666;
    m_errorString.clear();
    RKFileReplacement created(m_path);
    std::error_code error = created.create(kModeBeforeMask);
    if (!error)
        error = created.descriptor().write(0, content.constData(), content.size());
    if (!error)
        error = created.descriptor().flush();
    if (!error)
        error = created.takePlace();
    return error ? fail(Result::Failed, error) : finish(created);
}

RKSafeFileWriter::Result RKSafeFileWriter::replace(
    const RKFileSnapshot& source, const Pieces& pieces)
{
    m_errorString.clear();
    if (!source.isWritable()) {
        m_error = source.error();
        m_errorString = source.errorString();
        return Result::NotWritable;
    }
    for (const RKFilePiece& piece : pieces) {
        if (!isInside(piece, source.size()))
            return fail(Result::Failed, std::make_error_code(std::errc::invalid_argument));
    }
    struct stat existing = {};
    if (const auto error = source.descriptor().status(&existing))
        return fail(Result::Failed, error);
    if (existing.st_nlink > 1)
        return overwrite(source, pieces);

    RKFileReplacement replacement(m_path);
    if (const auto error = replacement.create(kOwnerOnly))
        return isForbidden(error) ? overwrite(source, pieces) : fail(Result::Failed, error);
    std::error_code error = writePieces(pieces, source.descriptor(), replacement.descriptor());
    if (!error) {
        error = RKFileAttributes::copy(source.descriptor(), replacement.descriptor());
        if (isForbidden(error))
            return overwrite(source, pieces);
    }
    if (!error)
        error = replacement.descriptor().flush();
    // A file that was cut off while it was copied has changed, too.
    if (!source.isUnchangedAt(m_path))
        return fail(Result::Changed, std::make_error_code(kChanged));
    if (error)
        return fail(Result::Failed, error);
    error = replacement.takePlace();
    if (isForbidden(error))
        return overwrite(source, pieces);
    return error ? fail(Result::Failed, error) : finish(replacement);
}

/// The new file is complete and in its place, whatever becomes of the folder.
RKSafeFileWriter::Result RKSafeFileWriter::finish(const RKFileReplacement& replacement)
{
    const std::error_code error = replacement.flushFolder();
    return error ? fail(Result::Done, error) : Result::Done;
}

RKSafeFileWriter::Result RKSafeFileWriter::overwrite(
    const RKFileSnapshot& source, const Pieces& pieces)
{
    const RKFileDescriptor& file = source.descriptor();
    const qint64 newSize = sizeOf(pieces);
    RKFileReplacement oldContent(sparePath(m_path));
    RKFileReplacement newContent(sparePath(m_path));
    std::error_code error = oldContent.create(kOwnerOnly);
    if (!error)
        error = oldContent.descriptor().copy(file, 0, 0, source.size());
    if (!error)
        error = newContent.create(kOwnerOnly);
    if (!error)
        error = writePieces(pieces, file, newContent.descriptor());
    if (!source.isUnchangedAt(m_path))
        return fail(Result::Changed, std::make_error_code(kChanged));
    if (!error)
        error = file.reserve(newSize);
    if (error)
        return fail(Result::Failed, error);
    error = setContent(file, newContent.descriptor(), newSize);
    if (!error)
        return Result::Done;
    fail(Result::Failed, error);
    if (setContent(file, oldContent.descriptor(), source.size()))
        m_errorString
            += QStringLiteral("; the old content is in ") + QFile::decodeName(oldContent.keep());
    return Result::Failed;
}

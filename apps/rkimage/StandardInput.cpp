#include "StandardInput.h"

#include "Interruption.h"
#include "Output.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "Result.h"
#include "TemporaryFolder.h"
#include "Writing.h"

#include <QFile>

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace {

// As much as the library looks at to recognise the format.
constexpr qint64 kStartSize = 4096;
constexpr qint64 kBlockSize = 1024 * 1024;

bool s_isExpected = false;
QString s_path;

RKMediaError systemError()
{
    return RKMediaError(RKMediaErrorCode::Unreadable,
        QString::fromLocal8Bit(std::generic_category().message(errno).c_str()));
}

/// That many bytes, or fewer at the end or after an interruption; nothing more to come makes it
/// empty.
RKMediaError readBlock(qint64 size, QByteArray& block)
{
    block.resize(size);
    qint64 filled = 0;
    while (filled < size && !Interruption::isRequested()) {
        const ssize_t count = ::read(STDIN_FILENO, block.data() + filled, size_t(size - filled));
        if (count == 0)
            break;
        if (count > 0)
            filled += count;
        else if (errno != EINTR)
            return systemError();
    }
    block.truncate(filled);
    return {};
}

/// What the library takes the content for, whose file has no extension yet.
RKMediaFormat formatOf(const QString& path)
{
    RKMediaError error;
    RKMediaLoader::instance()->size(RKMediaDescriptor(QFileInfo(path)), &error);
    return error.contentFormat();
}

} // namespace

bool StandardInput::isMeant(const std::string& argument)
{
    return argument == "-";
}

void StandardInput::expect(bool isExpected)
{
    s_isExpected = isExpected;
}

void StandardInput::expectIfMeant(const std::string& argument)
{
    if (isMeant(argument))
        expect(true);
}

bool StandardInput::isExpected()
{
    return s_isExpected;
}

RKMediaError StandardInput::read()
{
    if (isatty(STDIN_FILENO) == 1)
        return RKMediaError(RKMediaErrorCode::NotAFile, QStringLiteral("is a terminal"));
    QFile file(TemporaryFolder::newPath({}));
    if (!file.open(QIODevice::WriteOnly))
        return Writing::errorOf(file);
    QByteArray block;
    RKMediaError error = readBlock(kStartSize, block);
    if (!error.isError() && block.isEmpty())
        error = RKMediaError(RKMediaErrorCode::Truncated, QStringLiteral("is empty"));
    if (error.isError())
        return error;
    file.write(block);
    file.flush();
    const RKMediaFormat format = formatOf(file.fileName());
    if (format == MEDIA_FORMAT_UNKNOWN)
        return RKMediaError(RKMediaErrorCode::UnknownFormat,
            QStringLiteral("holds no picture or video of a known format"));
    while (!error.isError() && !block.isEmpty() && !Interruption::isRequested()) {
        error = readBlock(kBlockSize, block);
        if (!error.isError() && file.write(block) != block.size())
            error = Writing::errorOf(file);
    }
    if (!error.isError() && !file.flush())
        error = Writing::errorOf(file);
    file.close();
    s_path = TemporaryFolder::newPath(format.defaultExtension());
    if (!error.isError() && !file.rename(s_path))
        error = Writing::errorOf(file);
    return error;
}

QString StandardInput::path()
{
    return s_path;
}

void StandardInput::giveBack(Result& result)
{
    const QString failure = Output::sendPicture();
    QFile changed(s_path);
    if (!failure.isEmpty()) {
        result.fail(QStringLiteral("standard output"),
            RKMediaError(RKMediaErrorCode::NotWritable, failure));
    } else if (changed.open(QIODevice::ReadOnly)) {
        Output::write(changed);
    } else {
        result.fail(RKMediaError(RKMediaErrorCode::Unreadable, changed.errorString()));
    }
}

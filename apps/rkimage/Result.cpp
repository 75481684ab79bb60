#include "Result.h"

#include "ErrorName.h"
#include "InputFiles.h"
#include "MetaDataJson.h"
#include "Output.h"

#include <QFile>
#include <QFileInfo>

namespace {

// The one reason that is no code of the library's.
const QString kNotApplicable = QStringLiteral("notApplicable");

} // namespace

Result::Result(const QString& path)
    : m_file(QFile::encodeName(path))
{
}

Result::Result(const InputFile& file)
    : m_file(file.name)
{
}

void Result::insert(const QString& key, const QJsonValue& value)
{
    m_values[key] = value;
}

void Result::insert(const QJsonObject& values)
{
    for (auto value = values.begin(); value != values.end(); ++value)
        m_values[value.key()] = value.value();
}

void Result::addWritten(const QString& path, const QSize& size)
{
    QJsonObject file{
        {QStringLiteral("path"), path}, {QStringLiteral("bytes"), QFileInfo(path).size()}};
    if (size.isValid())
        file[QStringLiteral("size")] = MetaDataJson::fromSize(size);
    m_written << file;
}

void Result::addChanged(const InputFile& file)
{
    const QFileInfo named(QFile::decodeName(file.name));
    m_written << QJsonObject{{QStringLiteral("path"), named.absoluteFilePath()},
        {QStringLiteral("bytes"), QFileInfo(file.path).size()}};
}

void Result::fail(const RKMediaError& error)
{
    m_failure = {m_file, ErrorName::of(error.code()), error.text()};
}

void Result::fail(const QString& path, const RKMediaError& error)
{
    m_failure = {QFile::encodeName(path), ErrorName::of(error.code()), error.text()};
}

void Result::refuse(const QString& why)
{
    m_failure = {m_file, kNotApplicable, why};
}

void Result::refuse(const QString& path, const QString& why)
{
    m_failure = {QFile::encodeName(path), kNotApplicable, why};
}

bool Result::isDone() const
{
    return !m_failure;
}

QJsonObject Result::toJson() const
{
    QJsonObject json = m_values;
    json[QStringLiteral("file")] = QFile::decodeName(m_file);
    // Names are bytes, which JSON can't express where they are no UTF-8.
    if (QFile::encodeName(QFile::decodeName(m_file)) != m_file)
        json[QStringLiteral("fileBase64")] = QString::fromLatin1(m_file.toBase64());
    json[QStringLiteral("done")] = isDone();
    if (!m_written.isEmpty())
        json[QStringLiteral("written")] = m_written;
    if (m_failure) {
        json[QStringLiteral("reason")] = m_failure->reason;
        json[QStringLiteral("error")] = m_failure->text;
        if (m_failure->file != m_file)
            json[QStringLiteral("failedFile")] = QFile::decodeName(m_failure->file);
    }
    return json;
}

int Result::report() const
{
    if (m_failure)
        Output::printFailure(m_failure->file, m_failure->text);
    if (!Output::isText())
        Output::printResult(toJson());
    return isDone() ? Output::AllDone : Output::SomeFailed;
}

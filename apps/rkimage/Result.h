#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QSize>
#include <QString>

#include <optional>

struct InputFile;

/// What a command did with one file, for people and for programs. docs/json.md describes the
/// objects.
class Result
{
public:
    explicit Result(const QString& path);
    explicit Result(const InputFile& file);

    /// A value that is the command's own.
    void insert(const QString& key, const QJsonValue& value);
    void insert(const QJsonObject& values);
    /// A file was written, with a picture of that size.
    void addWritten(const QString& path, const QSize& size = {});
    /// The file itself was changed.
    void addChanged(const InputFile& file);

    /// Something has failed: the file itself, or another one that belongs to it. Only the last
    /// failure counts.
    /// @{
    void fail(const RKMediaError& error);
    void fail(const QString& path, const RKMediaError& error);
    /// @}
    /// The command makes no sense for this file.
    void refuse(const QString& why);
    void refuse(const QString& path, const QString& why);

    bool isDone() const;
    QJsonObject toJson() const;

    /// Prints it: a line about what has failed, and JSON where that is wanted. Returns the exit
    /// code. Thread-safe.
    int report() const;

private:
    struct Failure
    {
        QByteArray file;
        QString reason;
        QString text;
    };

    QByteArray m_file;
    QJsonObject m_values;
    QJsonArray m_written;
    std::optional<Failure> m_failure;
};

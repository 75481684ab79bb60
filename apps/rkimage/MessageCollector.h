#pragma once

#include <QString>
#include <QStringList>

/// Keeps the library's messages away from the terminal and holds the warnings, so that a failed
/// file's one line can say why it failed. Each thread's warnings are held for itself. One object
/// per program; thread-safe.
class MessageCollector
{
public:
    /// Takes over Qt's message log; verbose lets the messages through as well.
    explicit MessageCollector(bool verbose);
    ~MessageCollector();

    MessageCollector(const MessageCollector&) = delete;
    MessageCollector& operator=(const MessageCollector&) = delete;

    /// The warnings of the calling thread since its last call.
    QStringList takeWarnings();
};

#pragma once

#include <QSize>
#include <QString>

class MessageCollector;

/// Decodes a file and saves the picture, in the format of the target's extension. An invalid size
/// means full size. Returns the exit code.
int runConvertCommand(
    const QString& source, const QString& target, const QSize& size, MessageCollector& messages);

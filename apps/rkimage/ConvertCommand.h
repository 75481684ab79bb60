#pragma once

#include <QSize>
#include <QString>

class MessageCollector;

/// How `rkimage convert` makes one picture of another.
struct ConvertOptions
{
    enum class Rotation
    {
        Upright,
        AsStored
    };

    enum class Color
    {
        ToSrgb,
        AsStored
    };

    enum class MetaData
    {
        Drop,
        Keep
    };

    /// To fit into; an invalid one means full size.
    QSize size;
    Rotation rotation = Rotation::Upright;
    Color color = Color::ToSrgb;
    MetaData metaData = MetaData::Drop;
};

/// Decodes a file and saves the picture, in the format of the target's extension. Returns the exit
/// code.
int runConvertCommand(const QString& source,
    const QString& target,
    const ConvertOptions& options,
    MessageCollector& messages);

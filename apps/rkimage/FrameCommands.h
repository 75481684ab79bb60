#pragma once

#include <QSize>
#include <QString>

#include <optional>

class MessageCollector;

/// Which frame of a video, by its number or its time; by neither the default one.
struct FrameChoice
{
    std::optional<int> frame;
    std::optional<qint64> ms;
};

/// Saves one frame of a video, in the format of the target's extension. An invalid size means full
/// size. Returns the exit code.
int runFrameCommand(const QString& video,
    const QString& target,
    const FrameChoice& choice,
    const QSize& size,
    MessageCollector& messages);

/// Which frames of a video, and what to make of them; an empty name stands for nothing.
struct FramesRequest
{
    /// Either the time between two frames or how many there are, spread evenly.
    std::optional<qint64> everyMs;
    std::optional<int> count;
    /// The folder for one JPEG per frame, named after the video and the frame's number.
    QString folder;
    /// The file for one picture that shows all frames with their time codes.
    QString sheet;
};

/// Returns the exit code. Frames that the video doesn't have are reported and left out.
int runFramesCommand(
    const QString& video, const FramesRequest& request, MessageCollector& messages);

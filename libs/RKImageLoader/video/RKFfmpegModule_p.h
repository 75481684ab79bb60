#pragma once

#include "RKImageLoader/video/RKVideoFrames_p.h"

#include <QString>

#include <memory>

/// What uses FFmpeg lies in a module of its own, which is loaded with the first video: FFmpeg
/// brings more than a hundred libraries, and to load these takes longer than most pictures do.
namespace RKFfmpegModule {

/// The function of the module. Null if the file is not an ordinary one or can't be decoded; the
/// failure, which is left alone otherwise, and the log say why. Thread-safe.
using OpenVideo = std::unique_ptr<RKVideoFrames>(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation);
inline constexpr char kOpenVideo[] = "rkOpenVideo";

/// Calls it. Also null if the module can't be loaded, which is logged once.
std::unique_ptr<RKVideoFrames> open(
    const QString& path, RKVideoFailure* failure, const RKCancellation& cancellation);

/// The FFmpeg that this process has loaded.
struct Description
{
    QString version;
    /// In FFmpeg's own words; it depends on how it was built.
    QString license;
};

/// The other function of the module. Thread-safe.
using Describe = Description();
inline constexpr char kDescribe[] = "rkDescribeFfmpeg";

/// Calls it. Empty if the module can't be loaded, which is logged.
Description description();

} // namespace RKFfmpegModule

#pragma once

#include <QDebug>
#include <QLoggingCategory>

/// The categories of the library's messages, for the rules of QLoggingCategory.
///
/// "rk.load": files, guards, decoders, loaders, and what they need of media/ and drawables/.
Q_DECLARE_LOGGING_CATEGORY(rkLoad)
/// "rk.formats": which decoders there are for each format. Silent by default, because listing all
/// formats loads all codecs.
Q_DECLARE_LOGGING_CATEGORY(rkFormats)
/// "rk.metadata"
Q_DECLARE_LOGGING_CATEGORY(rkMetadata)
/// "rk.video"; what FFmpeg itself says is in "rk.ffmpeg".
Q_DECLARE_LOGGING_CATEGORY(rkVideo)
/// "rk.color"
Q_DECLARE_LOGGING_CATEGORY(rkColor)

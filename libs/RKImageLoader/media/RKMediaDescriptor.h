#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"
#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QUrl>

/// Names the medium of a request: a file and, for a video, the wanted frame. Reentrant.
class RKIMAGELOADER_EXPORT RKMediaDescriptor
{
public:
    /// Invalid: no file.
    RKMediaDescriptor() = default;
    /// A file in a folder; valid if the name is not empty.
    RKMediaDescriptor(const QDir& directory,
        const QString& fileName,
        const RKVideoFrameIndex& frame = RKVideoFrameIndex());
    /// The file need not exist; loaders report that. No frame means the default one of a video.
    RKMediaDescriptor(const QFileInfo& file, const RKVideoFrameIndex& frame = RKVideoFrameIndex());
    /// The local file of the URL; a frame in the URL's query is ignored.
    RKMediaDescriptor(const QUrl& url, const RKVideoFrameIndex& frame = RKVideoFrameIndex());
    /// Deleted, since a text would become a URL, not a path; use QFileInfo or QUrl.
    RKMediaDescriptor(const QString&, const RKVideoFrameIndex& frame = RKVideoFrameIndex())
        = delete;

    RKMediaDescriptor(const RKMediaDescriptor&) = default;
    RKMediaDescriptor(RKMediaDescriptor&&) noexcept = default;
    RKMediaDescriptor& operator=(const RKMediaDescriptor&) = default;
    RKMediaDescriptor& operator=(RKMediaDescriptor&&) noexcept = default;
    virtual ~RKMediaDescriptor();

    /// Determines isValid() anew from the file name.
    void checkValidity();
    /// Whether the file name is not empty; says nothing about whether the file exists.
    bool isValid() const;
    /// Forgets what was cached about the file.
    void refresh();

    /// The file as it was given; what Qt caches about it is renewed by refresh().
    QFileInfo fileInfo() const;
    /// As QFileInfo gives it: links and ".." are not resolved.
    QString absoluteFilePath() const;
    /// With the suffix, without the folder.
    QString fileName() const;

    /// The frame asked for; invalid for the default one. Loaders of pictures ignore it.
    /// @{
    RKVideoFrameIndex frameIndex() const;
    void setFrame(const RKVideoFrameIndex& frame);
    /// @}

    /// The format of the file name's suffix; logs a warning for an unknown one.
    RKMediaFormat mediaFormat() const;
    /// Whether mediaFormat() is exactly this format; false for a combination of formats.
    bool hasMediaFormat(const RKMediaFormat& format) const;
    /// The suffix in lower case: the format name for the bitmap decoders.
    QByteArray fileFormatAsByteArray() const;

    /// Equal absolute paths and equal frames.
    bool operator==(const RKMediaDescriptor& other) const;
    bool operator!=(const RKMediaDescriptor& other) const;

    /// By the file name, without its directory, and the frame.
    size_t hash() const;

    /// The local file's URL with the frame in its query; without a file for an invalid descriptor.
    QUrl url() const;

private:
    QFileInfo m_fileInfo;
    RKVideoFrameIndex m_frame;
    bool m_isValid = false;
};

RKIMAGELOADER_EXPORT size_t qHash(const RKMediaDescriptor& descriptor, size_t seed = 0);

#pragma once

#include "imageformats/common/RKOpenPicture.h"
#include "imageformats/heif/RKHeifCheck.h"
#include "imageformats/heif/RKHeifFormat.h"

#include <QByteArray>

#include <memory>

struct heif_context;
struct heif_image_handle;

/// The primary image of a HEIF file that is coded with HEVC, read with libheif.
///
/// It comes turned, mirrored and cropped as the file's boxes say; an Exif orientation is no more
/// than information there. Pixels of a file with an RGB profile stay as they are, and the profile
/// is the image's colour space. Without one, Display P3 and BT.2020 are converted to sRGB. HDR
/// pictures (PQ, HLG) are brought to 8 bits as they are.
class RKHeifPicture
    : public RKHeifFormat
    , public RKOpenPicture
{
public:
    /// Null if the file is damaged or asks for too much. `undecodable` becomes the coding of the
    /// picture if there is no decoder for it, with null if that isn't HEVC.
    static std::unique_ptr<RKHeifPicture> open(const QByteArray& file, QByteArray* undecodable);

    QSize size() const override;

    /// A thumbnail of the file is used for smaller sizes where it is large enough. With FFmpeg,
    /// opaque pictures that aren't cropped are made smaller before they become RGB.
    QImage decode(const QSize& size, const RKStopQuestion& mustStop) override;

private:
    struct Deleter
    {
        void operator()(heif_context* context) const;
        void operator()(const heif_image_handle* handle) const;
    };

    using Context = std::unique_ptr<heif_context, Deleter>;
    using Handle = std::unique_ptr<heif_image_handle, Deleter>;

    explicit RKHeifPicture(const QByteArray& file);
    bool isOpen() const;
    /// The thumbnail has the picture's proportions and at least the size.
    bool canServe(const QSize& thumbnail, const QSize& size) const;
    /// Null where libheif has to decode it.
    QImage reduced(
        quint32 id, const QSize& stated, const QSize& size, const RKStopQuestion& mustStop) const;
    /// Null also for a thumbnail that turns out too small when it is decoded.
    QImage decode(const heif_image_handle* handle,
        quint32 id,
        const QSize& stated,
        const QSize& size,
        const RKStopQuestion& mustStop) const;

    QByteArray m_file; // The context reads from it, and the check refers to it.
    RKHeifCheck m_check;
    Context m_context;
    Handle m_handle;
    bool m_isSizeTransposed;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKCancellation.h"

#include "RKCore/RKSingleton.h"

#include <QImage>

#include <memory>

class RKColorProfileConverterImpl;
class RKMetaData;

/// Converts pictures from the colour profile in their metadata to sRGB.
///
/// A profile made of curves and a matrix takes 100 KB. For any other profile each colour is
/// computed once and remembered until resetCache(), which takes memory for the colours met so far,
/// up to 64 MiB for each profile. Thread-safe; conversions run in parallel.
class RKIMAGELOADER_EXPORT RKColorProfileConverter : public RKSingleton<RKColorProfileConverter>
{
public:
    RKColorProfileConverter();
    ~RKColorProfileConverter() override;

    /// The picture in sRGB, with the same alpha, texts and resolution and without a colour space.
    /// RGB32, ARGB32 and premultiplied pictures keep their format, others become ARGB32 or RGB32.
    ///
    /// A profile counts before the marker of Adobe RGB (1998). Without either, or if the profile is
    /// damaged or of a kind that doesn't suit (those of grey pictures never do), the picture comes
    /// back unchanged and `ok`, which may be null, becomes false. For a profile of inks (CMYK), RGB
    /// is separated into inks in the plain way first.
    QImage convert(const QImage& image, const RKMetaData& metaData, bool* ok = nullptr);
    /// The same, in place if nobody else shares the picture's pixels. Null if it was cancelled.
    QImage convert(QImage&& image,
        const RKMetaData& metaData,
        bool* ok = nullptr,
        const RKCancellation& cancellation = {});

    /// What the colour profile in the metadata calls itself, "Display P3" for instance; the name of
    /// Adobe RGB (1998) for its marker. Empty if there is neither, or the profile can't be read.
    static QString profileName(const RKMetaData& metaData);

    /// Forgets all profiles and their colours. Conversions that are under way keep theirs until
    /// they are done.
    void resetCache();

private:
    const std::unique_ptr<RKColorProfileConverterImpl> m_impl;
};

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
/// A profile of curves and a matrix takes 100 KB and is prepared once. The colours of others are
/// computed once and remembered until resetCache(): such a profile takes memory for the colours
/// that were met, up to 64 MiB. Thread-safe; conversions take place side by side.
class RKIMAGELOADER_EXPORT RKColorProfileConverter : public RKSingleton<RKColorProfileConverter>
{
public:
    RKColorProfileConverter();
    ~RKColorProfileConverter() override;

    /// The picture in sRGB, with the same alpha, texts and resolution and without a colour space.
    /// RGB32, ARGB32 and premultiplied pictures keep their format, others become ARGB32 or RGB32.
    ///
    /// Where there is neither a profile nor the marker of Adobe RGB (1998), or the profile is
    /// damaged or for another kind of picture, grey among them, the picture comes back as it is and
    /// `ok` (may be null) is false. A profile of inks is applied to RGB as what a plain separation
    /// of it gives. A profile comes before the marker.
    QImage convert(const QImage& image, const RKMetaData& metaData, bool* ok = nullptr);
    /// The same in place, if nobody else shares the picture's pixels. Null if it was cancelled.
    QImage convert(QImage&& image,
        const RKMetaData& metaData,
        bool* ok = nullptr,
        const RKCancellation& cancellation = {});

    /// What the colour profile in the metadata calls itself, "Display P3" for instance; the name of
    /// Adobe RGB (1998) for its marker. Empty where there is none, or none that can be read.
    static QString profileName(const RKMetaData& metaData);

    /// Forgets all profiles and their colours. Conversions that are under way use theirs to the
    /// end.
    void resetCache();

private:
    const std::unique_ptr<RKColorProfileConverterImpl> m_impl;
};

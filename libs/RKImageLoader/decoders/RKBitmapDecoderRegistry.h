#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include "RKCore/RKSingleton.h"

#include <QList>
#include <QRecursiveMutex>

#include <map>
#include <memory>
#include <optional>
#include <vector>

class RKBitmapDecoder;

/// Knows the decoders and encoders of every format of still pictures, in the order in which they
/// are tried. Thread-safe.
class RKIMAGELOADER_EXPORT RKBitmapDecoderRegistry : public RKSingleton<RKBitmapDecoderRegistry>
{
public:
    /// Without decoders; the process-wide object gets them on its setup.
    RKBitmapDecoderRegistry();
    ~RKBitmapDecoderRegistry() override;

    /// The registry's own list for the format; empty for a format without decoders, which makes
    /// the format known: ask supportedMediaFormats() before.
    QList<RKBitmapDecoder*>& listOfDecoders(const RKMediaFormat& format) const;
    QList<RKBitmapDecoder*>& listOfEncoders(const RKMediaFormat& format) const;

    /// The first of the list. Ends the process for a format that has none; ask only for formats of
    /// the two lists below.
    RKBitmapDecoder* primaryDecoder(const RKMediaFormat& format) const;
    RKBitmapDecoder* primaryEncoder(const RKMediaFormat& format) const;

    /// All formats with a list of decoders, in the order of their values, as they were when this
    /// was first asked.
    RKMediaFormatList supportedMediaFormats() const;
    RKMediaFormatList writableImageFileFormats() const;

protected:
    /// Fills the lists from all decoders of the library.
    void setupInstance() override;

    /// New objects of all decoders of the library, in the order in which they are tried.
    virtual std::vector<std::unique_ptr<RKBitmapDecoder>> createDecoderList() const;

private:
    // The lists are held by pointer, so that references to them stay valid.
    using Lists = std::map<RKMediaFormat, std::unique_ptr<QList<RKBitmapDecoder*>>>;

    QList<RKBitmapDecoder*>& listIn(Lists& lists, const RKMediaFormat& format) const;
    const RKMediaFormatList& formatsIn(
        const Lists& lists, std::optional<RKMediaFormatList>& compiled) const;
    void add(Lists& lists, const RKMediaFormatList& formats, RKBitmapDecoder* decoder) const;

    std::vector<std::unique_ptr<RKBitmapDecoder>> m_owned;
    // Guards the four members below; nothing else is locked while it is held.
    mutable QRecursiveMutex m_mutex;
    mutable Lists m_decoders;
    mutable Lists m_encoders;
    mutable std::optional<RKMediaFormatList> m_supported;
    mutable std::optional<RKMediaFormatList> m_writable;
};

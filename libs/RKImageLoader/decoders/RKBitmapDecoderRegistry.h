#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include "RKCore/RKSingleton.h"

#include <QList>
#include <QRecursiveMutex>

#include <map>
#include <memory>
#include <optional>
#include <vector>

class RKBitmapDecoder;

/// Knows which decoders read and write which format, the preferred one first. Thread-safe.
///
/// The decoders live as long as the registry.
class RKIMAGELOADER_EXPORT RKBitmapDecoderRegistry : public RKSingleton<RKBitmapDecoderRegistry>
{
public:
    RKBitmapDecoderRegistry();
    ~RKBitmapDecoderRegistry() override;

    /// New decoders of every kind, in the order of preference. The caller owns them.
    virtual QList<RKBitmapDecoder*> createDecoderList() const;

    /// Registers the decoders. The process-wide object has done this before it can be asked.
    void setupInstance() override;

    /// The registry's own list of a format's decoders, which may be appended to while no other
    /// thread reads it. A format without decoders gets an empty list.
    QList<RKBitmapDecoder*>& listOfDecoders(const RKMediaFormat& format) const;
    QList<RKBitmapDecoder*>& listOfEncoders(const RKMediaFormat& format) const;

    /// The first of the list. The process ends when it is empty, so ask only for formats of
    /// supportedMediaFormats() or writableImageFileFormats().
    RKBitmapDecoder* primaryDecoder(const RKMediaFormat& format) const;
    RKBitmapDecoder* primaryEncoder(const RKMediaFormat& format) const;

    /// The formats that have a list of decoders at the first call, in the order of their values.
    /// Kept from then on. A list may be empty if it was asked for before that.
    RKMediaFormatList supportedMediaFormats() const;
    RKMediaFormatList writableImageFileFormats() const;

private:
    using DecoderList = QList<RKBitmapDecoder*>;
    // The lists stay where they are when formats are added.
    using DecoderMap = std::map<RKMediaFormat, std::unique_ptr<DecoderList>>;

    DecoderList& list(DecoderMap& map, const RKMediaFormat& format) const;
    void add(DecoderMap& map, const RKMediaFormatList& formats, RKBitmapDecoder* decoder) const;
    static RKMediaFormatList preCompileImageFileFormats(const DecoderMap& map);

    // Guards all below but the decoders. Nothing else is locked while it is held, except what a
    // decoder's lists of formats lock.
    mutable QRecursiveMutex m_mutex;
    mutable DecoderMap m_decoders;
    mutable DecoderMap m_encoders;
    mutable std::optional<RKMediaFormatList> m_supportedFormats;
    mutable std::optional<RKMediaFormatList> m_writableFormats;
    std::vector<std::unique_ptr<RKBitmapDecoder>> m_ownedDecoders;
};

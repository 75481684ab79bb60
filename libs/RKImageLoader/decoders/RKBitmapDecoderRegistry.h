#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include "RKCore/RKSingleton.h"

#include <QList>

#include <map>
#include <memory>
#include <mutex>
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

    /// Makes the decoders. The process-wide object has done this before anybody gets it.
    void setupInstance() override;

    /// Whether the format is, or will be, in supportedMediaFormats(). Unlike that function, this
    /// one doesn't load the codecs of all formats.
    bool isReadable(const RKMediaFormat& format) const;
    /// The same for writing.
    bool isWritable(const RKMediaFormat& format) const;

    /// The registry's own list of a format's decoders, which may be appended to while no other
    /// thread reads it. A format without decoders gets an empty list.
    QList<RKBitmapDecoder*>& listOfDecoders(const RKMediaFormat& format) const;
    /// The same for writing.
    QList<RKBitmapDecoder*>& listOfEncoders(const RKMediaFormat& format) const;

    /// The first decoder of the list. **Ends the process if the list is empty**: ask isReadable()
    /// before, and before the list was asked for, which makes the answer true.
    RKBitmapDecoder* primaryDecoder(const RKMediaFormat& format) const;
    /// The same for writing: ask isWritable() before.
    RKBitmapDecoder* primaryEncoder(const RKMediaFormat& format) const;

    /// The formats that have a list of decoders at the first call, in the order of their values;
    /// fixed from then on. Includes formats whose list, even an empty one, was asked for before.
    RKMediaFormatList supportedMediaFormats() const;
    /// The same for lists of encoders.
    RKMediaFormatList writableImageFileFormats() const;

private:
    using DecoderList = QList<RKBitmapDecoder*>;
    // The lists stay where they are when formats are added.
    using DecoderMap = std::map<RKMediaFormat, std::unique_ptr<DecoderList>>;

    using FormatsOf = RKMediaFormatList (RKBitmapDecoder::*)() const;
    using Can = bool (RKBitmapDecoder::*)(const RKMediaFormat& format) const;

    // Reading or writing: who does it, filled format by format, and the formats, once they are
    // known.
    struct Direction
    {
        FormatsOf formatsOf;
        Can can;
        DecoderMap decoders{};
        std::optional<RKMediaFormatList> formats{};
    };

    bool contains(const Direction& direction, const RKMediaFormat& format) const;
    DecoderList& list(Direction& direction, const RKMediaFormat& format) const;
    const RKMediaFormatList& formats(Direction& direction) const;

    // Guards all below but the decoders; ThreadSanitizer can't follow Qt's recursive mutex. Nothing
    // else is locked while it is held, except by decoders that are asked for their formats.
    mutable std::recursive_mutex m_mutex;
    mutable Direction m_reading;
    mutable Direction m_writing;
    std::vector<std::unique_ptr<RKBitmapDecoder>> m_ownedDecoders;
};

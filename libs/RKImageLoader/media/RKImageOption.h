#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QtGlobal>

/// The choices of one request to a loader. Reentrant.
class RKIMAGELOADER_EXPORT RKImageOption
{
public:
    /// The bits of an option.
    enum Flag : quint8
    {
        /// Take the picture from the file's embedded thumbnail if it has one, whatever the wanted
        /// size.
        UseEmbeddedThumbnail = 1
    };

    /// No flag set.
    RKImageOption() = default;
    /// All flags at once; bits without a meaning are kept and ignored.
    explicit RKImageOption(quint8 flags);

    /// Whether the flag is set.
    bool testFlag(Flag flag) const;
    /// Sets the flag, or clears it.
    void setFlag(Flag flag, bool on = true);
    /// All bits, for storing them.
    quint8 flags() const;

private:
    quint8 m_flags = 0;
};

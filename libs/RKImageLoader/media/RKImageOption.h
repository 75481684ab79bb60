#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QtGlobal>

/// The choices of one request to a loader. Reentrant.
class RKIMAGELOADER_EXPORT RKImageOption
{
public:
    enum Flag : quint8
    {
        /// Take the picture from the file's embedded thumbnail where it has one, whatever the
        /// wanted size.
        UseEmbeddedThumbnail = 1
    };

    /// No flag set.
    RKImageOption() = default;
    explicit RKImageOption(quint8 flags);

    bool testFlag(Flag flag) const;
    void setFlag(Flag flag, bool on = true);
    quint8 flags() const;

private:
    quint8 m_flags = 0;
};

#pragma once

#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoaderAsync/RKImageLoaderAsyncExport.h"

#include <QSize>
#include <QString>

/// The outcome of one request to an RKAsyncLoader, and the request itself. A value. Reentrant.
class RKIMAGELOADERASYNC_EXPORT RKLoadResult
{
public:
    /// A result without a request: null, no error.
    RKLoadResult() = default;
    /// What a loader has returned for a request; for tests and stand-ins of hosts.
    RKLoadResult(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        const RKDrawable& drawable,
        const RKMediaError& error);

    /// Null if the medium could not be loaded.
    RKDrawable drawable() const;
    /// Why not. With a drawable that is not null, it can only be RKMediaErrorCode::Truncated.
    RKMediaError error() const;

    /// The file and frame that were asked for. A new object each time: it shares nothing that
    /// another thread might use.
    RKMediaDescriptor descriptor() const;
    /// In pixels; a side is negative if the full size was asked for.
    QSize wantedSize() const;
    /// The option of the request.
    RKImageOption option() const;

private:
    RKDrawable m_drawable;
    RKMediaError m_error;
    QString m_path;
    RKVideoFrameIndex m_frame;
    QSize m_wanted;
    RKImageOption m_option;
};

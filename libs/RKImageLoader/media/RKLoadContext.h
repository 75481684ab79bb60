#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKCancellation.h"
#include "RKImageLoader/media/RKMediaError.h"

/// What one request carries down to the decoders and back: whether it is still wanted, and why it
/// failed.
///
/// Make one for each request. Whoever gives up says why, where it is known best; loaders complete
/// the reason. One thread at a time may use an object; cancel() may come from any.
class RKIMAGELOADER_EXPORT RKLoadContext
{
public:
    /// Without an error. By default the request can't be cancelled.
    explicit RKLoadContext(const RKCancellation& cancellation = {});

    RKLoadContext(const RKLoadContext&) = delete;
    RKLoadContext& operator=(const RKLoadContext&) = delete;

    /// To hand to what outlives a call or can't have the context.
    RKCancellation cancellation() const;
    /// Ask between the steps of long work, and return the empty result then; the loader says why.
    bool isCancelled() const;

    /// Notes a reason. If there are several, for instance of two decoders, the most telling one
    /// stays, and the first of equals.
    void fail(RKMediaErrorCode code, const QString& text = {});
    /// The same with a reason that somebody else has found.
    void fail(const RKMediaError& error);
    /// A picture was made. Forgets why others have failed, but not that the file is truncated.
    void succeed();

    /// The file of the reason, if there is one.
    void setFilePath(const QString& path);

    /// No error after success, except that Truncated may come with a picture.
    RKMediaError error() const;

private:
    RKCancellation m_cancellation;
    RKMediaError m_error;
};

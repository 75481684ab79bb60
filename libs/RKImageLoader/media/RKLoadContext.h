#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKCancellation.h"
#include "RKImageLoader/media/RKMediaError.h"

/// What one request carries down to the decoders and back: whether it is still wanted, and why it
/// failed.
///
/// Make one for each request. The code that gives up notes the reason, which loaders complete. Only
/// one thread at a time may use an object; RKCancellation::cancel() may be called from any.
class RKIMAGELOADER_EXPORT RKLoadContext
{
public:
    /// Without an error. By default the request can't be cancelled.
    explicit RKLoadContext(const RKCancellation& cancellation = {});

    RKLoadContext(const RKLoadContext&) = delete;
    RKLoadContext& operator=(const RKLoadContext&) = delete;

    /// For code that outlives the call or can't get the context.
    RKCancellation cancellation() const;
    /// Ask between the steps of long work. If true, return an empty result; the loader notes why.
    bool isCancelled() const;

    /// Notes a reason. Of several, for instance from two decoders, the most telling one stays, and
    /// the first of equals.
    void fail(RKMediaErrorCode code, const QString& text = {});
    /// The same with a reason found elsewhere; no error changes nothing.
    void fail(const RKMediaError& error);
    /// A picture was made: forgets why others have failed, but not that the file is truncated.
    void succeed();

    /// Sets the file that the reason, if there is one, refers to.
    void setFilePath(const QString& path);

    /// The reason; no error after success, except that Truncated may come with a picture.
    RKMediaError error() const;

private:
    RKCancellation m_cancellation;
    RKMediaError m_error;
};

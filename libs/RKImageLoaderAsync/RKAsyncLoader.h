#pragma once

#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoaderAsync/RKImageLoaderAsyncExport.h"
#include "RKImageLoaderAsync/RKLoadPriority.h"
#include "RKImageLoaderAsync/RKLoadResult.h"

#include <QFuture>
#include <QList>
#include <QSize>

#include <memory>

class RKLoadScheduler;
class RKMediaLoaderAbstract;

/// Loads media on threads of its own, so that no window waits for a file.
///
/// Every request returns a future at once; no function but the destructor waits for a file.
/// The results are those of RKMediaLoader::drawable() for the same arguments, with the reason of a
/// failure. Equal requests are loaded once, and each has a future of its own.
///
/// **Order.** Visible requests come first, then nearby ones, then the others, and the newest first
/// among equals. While scrolling, call setVisible() and cancel what has left the window for good.
///
/// **Cancelling.** QFuture::cancel() cancels one request. If nobody else waits for the same
/// picture, loading stops, even in the middle of a decode, and the future is finished soon after
/// that; one that was still waiting is finished when a thread next looks for work. A cancelled
/// future has no result: ask QFuture::isCanceled() or resultCount() before result(). Qt's readers,
/// stopped in the middle, may log that the rest of the file is missing, in categories of their own
/// such as "qt.gui.imageio.jpeg".
///
/// **Memory.** Loads under way take at most maxBytesInFlight(), by an estimate; a picture that
/// takes more by itself is loaded alone. Results live as long as somebody holds their future.
///
/// **Lifetime.** The destructor cancels everything and waits for the threads, which stop as said
/// above. Futures that were still open are then finished and cancelled, with a result that says
/// RKMediaErrorCode::Cancelled. It must not be called on a thread of the loader, which also runs
/// continuations (QFuture::then()) without a context object or thread of their own.
///
/// **Continuations.** In Qt 6.4, the context object of QFuture::then() must live until the load has
/// ended, and the futures that then() returns must live as long as anything may call cancel(), even
/// after the end. QFutureWatcher has neither trap.
///
/// The threads are never those of QThreadPool::globalInstance(), which Qt's painting waits for.
///
/// Thread-safe, except for the destructor.
class RKIMAGELOADERASYNC_EXPORT RKAsyncLoader
{
public:
    /// Loads everything that RKMediaLoader does.
    RKAsyncLoader();
    /// Loads with another loader, which has to be thread-safe and to live longer than this object.
    explicit RKAsyncLoader(const RKMediaLoaderAbstract* loader);
    ~RKAsyncLoader();

    RKAsyncLoader(const RKAsyncLoader&) = delete;
    RKAsyncLoader& operator=(const RKAsyncLoader&) = delete;

    /// Loads the medium, upright, in sRGB and fitted into the wanted size; in full size if a side
    /// of that is negative. The future has one result.
    QFuture<RKLoadResult> load(const RKMediaDescriptor& descriptor,
        const QSize& wanted = QSize(),
        const RKImageOption& option = RKImageOption(),
        RKLoadPriority priority = RKLoadPriority::Visible);

    /// One future for many pictures, loaded in the order of the list. Result i is that of picture i
    /// and is reported as soon as it is there, see QFutureWatcher::resultReadyAt(). The progress
    /// counts pictures, failed ones included. Cancelling cancels all that are left.
    QFuture<RKLoadResult> thumbnails(const QList<RKMediaDescriptor>& descriptors,
        const QSize& wanted,
        RKLoadPriority priority = RKLoadPriority::Nearby);

    /// Sets what the user sees now, the most important first. Waiting requests for these become
    /// visible ones; all others that were visible become nearby ones.
    void setVisible(const QList<RKMediaDescriptor>& visible);
    /// Changes the priority of waiting requests for a file and frame, in all sizes.
    void setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority);

    /// Cancels all requests.
    void cancelAll();

    /// One for each processor, four at most, unless set: decoders of videos and of HEIC use several
    /// threads by themselves.
    int threadCount() const;
    /// At least one. A lower number takes effect as the pictures being loaded are done.
    void setThreadCount(int count);

    /// 1 GiB unless set: about ten raw pictures of 24 megapixels.
    qint64 maxBytesInFlight() const;
    /// For loads that start from now on. Zero or less loads one picture at a time.
    void setMaxBytesInFlight(qint64 bytes);

private:
    const std::unique_ptr<RKLoadScheduler> m_scheduler;
};

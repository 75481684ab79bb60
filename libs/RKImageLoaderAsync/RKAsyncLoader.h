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
/// Every request answers with a future at once; no function but the destructor waits for a file.
/// The results are those of RKMediaLoader::drawable() for the same arguments, with the reason of a
/// failure. Equal requests are loaded once, and each has a future of its own.
///
/// **Order.** Visible requests come first, then nearby ones, then the others, and the newest first
/// among equals. While scrolling, call setVisible() and cancel what has left the window for good.
///
/// **Cancelling.** QFuture::cancel() takes back one request. If nobody else waits for the same
/// picture, loading stops, also in the middle of a decode; the future is finished soon after that,
/// one that was waiting for its turn with the next turn of a thread. A cancelled future has no
/// result: ask QFuture::isCanceled() or resultCount() before result(). Readers of Qt and their
/// libraries that are stopped in the middle may note the missing rest of the file in categories of
/// their own, such as "qt.gui.imageio.jpeg".
///
/// **Memory.** What is being loaded takes at most maxBytesInFlight() by an estimate; a picture that
/// takes more by itself is loaded alone. The results belong to whoever holds their futures.
///
/// **Lifetime.** The destructor cancels everything and waits for the threads, which stop as said
/// above. All futures are finished and cancelled then; those that were open have a result with
/// RKMediaErrorCode::Cancelled. It must not be called by a thread of the loader, which runs
/// continuations (QFuture::then()) that name no context object or thread.
///
/// **Continuations.** In Qt 6.4, QFuture::then() with a context needs that object until the load
/// has ended, and QFuture::cancel() needs the futures that then() has returned, also after the end:
/// keep them as long as something may cancel. QFutureWatcher has neither trap.
///
/// The threads are never those of QThreadPool::globalInstance(): Qt's painting waits for these.
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

    /// The medium, upright, in sRGB and fitted into the wanted size; in full size if a side of that
    /// is negative. The future has one result.
    QFuture<RKLoadResult> load(const RKMediaDescriptor& descriptor,
        const QSize& wanted = QSize(),
        const RKImageOption& option = RKImageOption(),
        RKLoadPriority priority = RKLoadPriority::Visible);

    /// One future for many pictures, the first ones of the list first. Result i is that of picture
    /// i and comes as soon as it is there, see QFutureWatcher::resultReadyAt(). The progress counts
    /// pictures, failed ones included. Cancelling takes back all that are left.
    QFuture<RKLoadResult> thumbnails(const QList<RKMediaDescriptor>& descriptors,
        const QSize& wanted,
        RKLoadPriority priority = RKLoadPriority::Nearby);

    /// Says what the user sees now, the most important first. Waiting requests for these become
    /// visible ones, and those that were visible become nearby ones.
    void setVisible(const QList<RKMediaDescriptor>& visible);
    /// Changes the priority of waiting requests for a file and frame, in all sizes.
    void setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority);

    /// Cancels all requests.
    void cancelAll();

    /// As many as the machine has processors, four at most, unless set: decoders of videos and of
    /// HEIC use several threads by themselves.
    int threadCount() const;
    /// At least one. A lower number takes effect when the pictures in work are done.
    void setThreadCount(int count);

    /// 1 GiB unless set, ten raw pictures of 24 megapixels less margins.
    qint64 maxBytesInFlight() const;
    /// For what is started from now on.
    void setMaxBytesInFlight(qint64 bytes);

private:
    const std::unique_ptr<RKLoadScheduler> m_scheduler;
};

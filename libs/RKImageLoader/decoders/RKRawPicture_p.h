#pragma once

#include "RKImageLoader/media/RKLoadContext.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <memory>

class LibRaw;

/// One camera raw file, read by LibRaw; builds without that have RKWithoutRaw.cpp. Not thread-safe,
/// but independent of all others.
class RKRawPicture
{
public:
    /// Whether this build reads raw files at all.
    static bool isAvailable();

    /// Opens the file's bytes. Those of QByteArray::fromRawData() must outlive the object. Once it
    /// is cancelled, no pictures come any more.
    explicit RKRawPicture(const QByteArray& data, const RKCancellation& cancellation = {});
    ~RKRawPicture();

    RKRawPicture(const RKRawPicture&) = delete;
    RKRawPicture& operator=(const RKRawPicture&) = delete;

    bool isOpen() const;
    /// Why it isn't.
    RKMediaErrorCode openError() const;

    /// The size of the developed picture before it is turned.
    QSize storedSize() const;
    /// Turning it upright swaps its sides.
    bool isTransposed() const;
    QSize uprightSize() const;

    /// A preview of the file, upright, in exactly the size; null if there is none that is at least
    /// as large and shows the whole picture.
    QImage preview(const QSize& upright);
    /// The developed picture, upright. It may be half as large in each direction, or whole, if that
    /// is enough for the size. Null if the data is damaged, with a warning if it is truncated. Only
    /// one picture can be developed.
    QImage developed(const QSize& upright, RKLoadContext& context);

private:
    class StoppableStream;

    void open();
    int openBytes();
    bool isPlausible() const;
    bool isTruncated() const;
    bool isShortOfMemory() const;

    QByteArray m_bytes;
    RKCancellation m_cancellation;
    // LibRaw reads from it to its end.
    std::unique_ptr<StoppableStream> m_stream;
    // On the heap: it has 766 KB, more than the stack of a thread may hold.
    std::unique_ptr<LibRaw> m_raw;
    int m_openResult = 0;
    bool m_isOpen = false;
};

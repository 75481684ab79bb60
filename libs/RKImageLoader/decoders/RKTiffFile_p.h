#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QSize>

#include <tiffio.h>

#include <memory>

class QImage;

/// The first directory of a TIFF file in memory, which libtiff reads. Reentrant.
class RKTiffFile
{
public:
    /// Whether libtiff copies what it reads, by a function that a cancelled request ends as if the
    /// file did, or takes it where it is.
    enum class Access
    {
        Copied,
        InPlace
    };

    /// Both must outlive the object.
    RKTiffFile(const QByteArray& bytes, const RKCancellation& cancellation, Access access);
    ~RKTiffFile();

    RKTiffFile(const RKTiffFile&) = delete;
    RKTiffFile& operator=(const RKTiffFile&) = delete;

    /// Null if libtiff can't open it.
    TIFF* get() const;

    /// Of one value, or its default.
    quint16 number(ttag_t tag) const;
    bool hasSize(const QSize& size) const;
    /// What the first sample after the colours is: EXTRASAMPLE_...
    quint16 extraSample() const;
    void copyResolution(QImage& image) const;

private:
    struct Memory;

    struct Closer
    {
        void operator()(TIFF* tiff) const;
    };

    std::unique_ptr<Memory> m_memory;
    std::unique_ptr<TIFF, Closer> m_tiff;
};

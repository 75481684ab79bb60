#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QImage>

#include <memory>

class CIccCmm;

/// The colour that every 24-bit colour becomes through one profile, filled colour by colour as
/// pictures need them. Copies share the colours, and the last one frees them.
///
/// Thread-safe: several threads may convert, and so fill the table, at once.
class RKColorProfileConverterLookupTable
{
public:
    /// A table without room for colours.
    RKColorProfileConverterLookupTable() = default;
    /// Room for all colours, none converted yet. Memory is taken as colours are converted, up to
    /// 64 MiB. isNull() if there is no address space for it.
    explicit RKColorProfileConverterLookupTable(CIccCmm* cmm);
    RKColorProfileConverterLookupTable(const RKColorProfileConverterLookupTable&) = default;
    RKColorProfileConverterLookupTable& operator=(const RKColorProfileConverterLookupTable&)
        = default;
    virtual ~RKColorProfileConverterLookupTable();

    bool isNull() const;

    /// A picture with 32 bits a pixel, converted; alpha stays. Unchanged without a table. Pixels
    /// that nobody shares are converted in place.
    QImage convertImage(QImage image, CIccCmm* cmm, const RKCancellation& cancellation = {}) const;
    /// The colour 0x00rrggbb that a pixel becomes.
    unsigned int convertColor(const unsigned int& pixel, CIccCmm* cmm, bool sourceIsCmyk) const;
    /// Replaces red, green and blue by the inks of a plain separation, all from 0 to 1. Black gets
    /// NaN for the coloured inks.
    void rgbToCmyk(float* pixel) const;

private:
    struct Batch;

    void convertPixels(const QRgb* source, QRgb* target, int pixels, Batch& batch) const;
    void convertColors(Batch& batch) const;

    std::shared_ptr<quint32> m_colors;
};

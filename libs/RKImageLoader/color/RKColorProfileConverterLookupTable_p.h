#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QImage>

class CIccCmm;

/// The colour that every 24-bit colour becomes through one profile, filled colour by colour as
/// pictures need them. Copies share the colours; only free() frees them.
///
/// Not thread-safe: converting fills the table.
class RKIMAGELOADER_TEST_EXPORT RKColorProfileConverterLookupTable
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
    /// Frees the colours, of all copies.
    void free();

    /// A picture with 32 bits a pixel, converted; alpha stays. Unchanged without a table.
    QImage convertImage(const QImage& image, CIccCmm* cmm) const;
    /// The colour 0x00rrggbb that a pixel becomes.
    unsigned int convertColor(const unsigned int& pixel, CIccCmm* cmm, bool sourceIsCmyk) const;
    /// Replaces red, green and blue by the inks of a plain separation, all from 0 to 1. Black gets
    /// NaN for the coloured inks.
    void rgbToCmyk(float* pixel) const;

private:
    quint32* m_colors = nullptr;
};

#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKScalingOption.h"

#include "RKCore/RKSingleton.h"

#include <QDomDocument>
#include <QDomElement>
#include <QFileInfo>
#include <QString>

/// The tunable values of the library: the defaults, or those of an XML file that the host names
/// before first use.
///
/// The root element may have any name; values that are left out are the defaults:
/// @code{.xml}
/// <imageLoader>
///   <jpg compression="90"/>                    <!-- quality, -99 to 100 -->
///   <scaling productionMaxScalePercent="0"/>   <!-- scalingMinFactor() times 100 -->
/// </imageLoader>
/// @endcode
///
/// Read once, on construction; thread-safe afterwards.
class RKIMAGELOADER_EXPORT RKImageLoaderConfig : public RKSingleton<RKImageLoaderConfig>
{
public:
    /// Reads the named file. A missing or malformed one is logged and leaves all values at their
    /// defaults. **Ends the process if no file was named and useDefaults() was not called.**
    RKImageLoaderConfig();

    /// Names the file to read. Has no effect on the process-wide object once that exists. Not
    /// thread-safe: call it at the start.
    static void setConfigFile(const QFileInfo& file);
    /// For hosts without such a file. The later call of this and setConfigFile() counts; the same
    /// conditions hold.
    static void useDefaults();

    /// Parses an XML file; an empty document, with a warning, if that fails.
    static QDomDocument loadDocument(const QFileInfo& file);

    /// The root element's first child of that name; a null element if there is none.
    QDomElement findDomElement(const QString& name) const;

    /// The quality of the JPEG encoder, -99 to 100; 90 by default, 0 for a text that is not a whole
    /// number. What a negative one means is up to the host.
    int jpgQualityExtended() const;
    /// The absolute value of jpgQualityExtended().
    int jpgQuality() const;

    /// The share of the source's resolution that clipping for production keeps at least, 1.0 for
    /// all of it; 0.0 by default and for a text that is not a whole number of percent.
    double scalingMinFactor() const;

    /// Always smooth.
    RKScalingOption scalingOption() const;

private:
    QString attribute(const QString& element, const QString& name, const QString& fallback) const;

    static QFileInfo myConfigFile;
    static bool s_usesDefaults;

    // Kept beside its element, which does not keep it alive.
    QDomDocument m_document;
    QDomElement m_root;
};

#pragma once

#include "RKImageLoader/guards/RKImageLimits_p.h"

#include <QByteArray>
#include <QString>

/// Makes SVG documents safe for a renderer that opens every file a document names, and that trusts
/// the numbers in it. Reentrant.
class RKSvgSanitizer
{
public:
    // A document beyond one of these limits is refused, with a warning.

    /// The length in bytes, after decompression.
    static constexpr qint64 kMaxBytes = 64LL << 20;
    static constexpr int kMaxElements = 200'000;
    static constexpr int kMaxDepth = 256;
    /// Attributes of one element: XML readers compare each with every other.
    static constexpr int kMaxAttributes = 256;
    /// Entities that the document declares, the length of what one reference expands to, and the
    /// length of its declarations of attributes with default values.
    static constexpr int kMaxEntities = 1024;
    static constexpr int kMaxEntityExpansion = 1024;
    static constexpr qint64 kMaxAttributeDeclarations = 4096;
    /// Renderers match every rule of the style sheets against every class of every element, which
    /// takes 50 ns or more.
    static constexpr qint64 kMaxStyleMatches = 12'000'000;
    /// The pixels of all pictures inside the document, at 32 bits: they are all in memory at once.
    static constexpr qint64 kMaxEmbeddedPixels = RKImageLimits::kMaxClaim / 4;

    /// The document, decompressed and as UTF-8, without a document type: its entities are resolved.
    /// It looks the same as the original but for what would have come from outside: all references
    /// are gone except those to elements (`#id`) and inline pictures (`data:`). Inline pictures
    /// stay if they are raster files that hold what their headers promise, or SVG documents, which
    /// are treated in the same way.
    ///
    /// Empty if the data is not well-formed XML or exceeds a limit. All else is left to the
    /// renderer.
    static QByteArray sanitized(const QByteArray& svg);
    /// The same without a warning. The problem is which limit; empty for bad XML.
    static QByteArray sanitized(const QByteArray& svg, QString* problem);
};

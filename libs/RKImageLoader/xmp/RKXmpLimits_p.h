#pragma once

#include <string_view>

/// What an XMP packet may have at most to be changed.
///
/// Libraries look up each property, field and namespace among all others: 5000 namespaces took 15 s
/// and 200 000 elements of an array 18 s to get another rating. Real packets have some hundreds of
/// properties, some dozens of namespaces and, in long histories, a few ten thousand elements.
class RKXmpLimits
{
public:
    RKXmpLimits() = delete;

    /// Elements and attributes.
    static constexpr int kMaxNodes = 50'000;
    /// Elements, other than those of arrays, and attributes of one element.
    static constexpr int kMaxFields = 2'000;
    /// Properties of all rdf:Description elements together.
    static constexpr int kMaxProperties = 3'000;
    /// Declarations of namespaces, repeated ones included.
    static constexpr int kMaxDeclarations = 1'000;

    /// The packet, in UTF-8, has more of something than it may have. The number of nodes makes
    /// only changes slow.
    static bool areExceededBy(std::string_view packet, int maxNodes = kMaxNodes);
};

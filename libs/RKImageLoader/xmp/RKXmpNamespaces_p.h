#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The prefixes by which keys name XMP namespaces, the same for all files of the process.
///
/// Thread-safe once setKnown() was called.
class RKXmpNamespaces
{
public:
    RKXmpNamespaces() = delete;

    using Table = std::map<std::string, std::string>;

    /// Sets the prefixes, with their namespaces, that never change. Called once, before any packet
    /// is parsed.
    static void setKnown(const Table& namespacesOfPrefixes);
    static const Table& known();

    /// The prefix of a known namespace, and of those of RDF and of what surrounds it.
    static std::optional<std::string> knownPrefix(std::string_view uri);

    /// The prefix by which keys name a namespace that is not known: the one of the first call with
    /// it, with digits appended if another namespace has it. Each namespace thus has one of its
    /// own, whatever files call it. At most a thousand are remembered; an empty prefix stays empty.
    static std::string foreignPrefix(std::string_view uri, const std::string& prefix);
};

#include "RKImageLoader/xmp/RKXmpNames_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"

#include <mutex>
#include <set>

namespace {

/// exiv2 takes a namespace without its last slash for the one with it, and adds the slash.
std::string_view withoutLastSlash(std::string_view uri)
{
    return uri.substr(0, uri.size() - (!uri.empty() && uri.back() == '/' ? 1 : 0));
}

struct Known
{
    RKXmpNamespaces::Table namespaces;
    // Without their last slash.
    std::map<std::string, std::string, std::less<>> prefixes;

    Known()
    {
        for (const RKXmpNamespace& known : {RKXmpNames::kRdfNamespace,
                 RKXmpNames::kRdfSchemaNamespace,
                 RKXmpNames::kMetaNamespace})
            prefixes.emplace(known.uri, known.prefix);
    }
};

/// Never destroyed: threads may still read metadata while the process ends.
Known& table()
{
    static auto* const known = new Known;
    return *known;
}

} // namespace

void RKXmpNamespaces::setKnown(const Table& namespacesOfPrefixes)
{
    table().namespaces = namespacesOfPrefixes;
    for (const auto& [prefix, uri] : namespacesOfPrefixes)
        table().prefixes.emplace(withoutLastSlash(uri), prefix);
}

const RKXmpNamespaces::Table& RKXmpNamespaces::known()
{
    return table().namespaces;
}

std::optional<std::string> RKXmpNamespaces::knownPrefix(std::string_view uri)
{
    const auto found = table().prefixes.find(withoutLastSlash(uri));
    return found == table().prefixes.end() ? std::nullopt : std::optional(found->second);
}

std::string RKXmpNamespaces::foreignPrefix(std::string_view uri, const std::string& prefix)
{
    // Real files have a few dozen, each a few dozen bytes long; hostile ones must not fill the
    // memory.
    constexpr size_t kMaxNamespaces = 1000;
    constexpr size_t kMaxLength = 1024;
    static std::mutex mutex;
    // Never destroyed, like the known ones.
    static auto* const prefixes = new std::map<std::string, std::string>;
    static auto* const taken = new std::set<std::string>;
    // For each prefix that is taken the digits that may be free. Trying all of them for each
    // namespace took a minute for a packet of 500 kB.
    static auto* const nextDigits = new std::map<std::string, int>;
    const auto isTaken = [](const std::string& name) {
        return known().count(name) != 0 || taken->count(name) != 0;
    };

    const std::lock_guard lock(mutex);
    const std::string plain(withoutLastSlash(uri));
    if (const auto own = prefixes->find(plain); own != prefixes->end())
        return own->second;
    if (prefix.empty())
        return prefix;
    std::string own = prefix;
    if (isTaken(own)) {
        int& digits = (*nextDigits)[prefix];
        while (isTaken(prefix + std::to_string(digits)))
            ++digits;
        own += std::to_string(digits);
    }
    if (prefixes->size() < kMaxNamespaces && plain.size() + own.size() < kMaxLength) {
        prefixes->emplace(plain, own);
        taken->insert(own);
    }
    return own;
}

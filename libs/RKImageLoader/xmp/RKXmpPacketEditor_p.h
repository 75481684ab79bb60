#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// An XMP packet as a text in which single properties are replaced; everything else stays as it
/// is, byte for byte: what exiv2 drops or writes differently when it encodes a packet anew.
///
/// Follows the properties of rdf:Description elements (ISO 16684-1, 7.4), as attributes and as
/// elements. Reentrant.
class RKXmpPacketEditor
{
public:
    /// A property: the URI of its namespace, without a slash at the end, and its name.
    struct Name
    {
        std::string uri;
        std::string name;

        bool operator<(const Name& other) const;
    };

    /// A packet in another encoding is taken for its text in UTF-8.
    explicit RKXmpPacketEditor(const std::string& packet);

    /// Whether the text is a packet that this class can follow, with an rdf:RDF that is not empty.
    bool isValid() const;

    /// The packet in which the named properties are replaced by those of another packet, where
    /// that has them. Padding takes what the length changes by. Both have to be valid.
    std::string exchanged(const std::set<Name>& names, const RKXmpPacketEditor& source) const;

    /// The texts of all properties, as they are in the packet. The subjects of descriptions are
    /// under the name of rdf:about.
    std::multimap<Name, std::string> properties() const;

    /// exiv2 takes a namespace without its last slash for the one with it.
    static std::string withoutSlash(const std::string& uri);

private:
    class Parser;

    using Namespaces = std::map<std::string, std::string>;
    // From other prefixes, or from namespaces.
    using Prefixes = std::map<std::string, std::string>;

    /// A piece of the text.
    struct Range
    {
        size_t begin = 0;
        size_t end = 0;
    };

    struct Property
    {
        Name name;
        Range range;
        bool isAttribute = false;
    };

    /// An rdf:Description below rdf:RDF.
    struct Description
    {
        Range range;
        // Its subject; all descriptions of one packet have the same. As it is spelled in the text.
        std::string about;
        // Its own ones.
        Namespaces namespaces;
        std::vector<Property> properties;
        // Has nothing but properties, a subject and namespaces.
        bool isPlain = true;
    };

    Prefixes prefixesFor(const Namespaces& namespaces) const;

    std::string described(const Description& source,
        const std::set<Name>& names,
        const RKXmpPacketEditor& target) const;

    const std::string m_text;
    // The declarations on rdf:RDF and the elements around it.
    Namespaces m_namespaces;
    // From each namespace that is declared anywhere to its first prefix that is not another's.
    Prefixes m_prefixes;
    std::vector<Description> m_descriptions;
    // The place where the end tag of rdf:RDF begins.
    std::optional<size_t> m_end;
};

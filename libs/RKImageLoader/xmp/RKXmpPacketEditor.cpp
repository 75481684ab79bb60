#include "RKImageLoader/xmp/RKXmpNames_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <algorithm>
#include <string_view>
#include <tuple>

namespace {

constexpr std::string_view kRdf = RKXmpNames::kRdfNamespace.uri;
constexpr std::string_view kDeclaration = "xmlns";
constexpr std::string_view kBlanks = " \t\r\n";

// Real packets have some dozens of each. Every description that is copied asks for all namespaces,
// so that the two multiply.
constexpr size_t kMaxDeclarations = 1000;
constexpr size_t kMaxDescriptions = 1000;

struct Attribute
{
    std::string_view name;
    std::string_view value;
    // Includes the blanks before it.
    size_t begin = 0;
    size_t end = 0;
};

struct Tag
{
    enum class Kind
    {
        Start,
        End,
        Empty
    };

    Kind kind = Kind::Start;
    std::string_view name;
    std::vector<Attribute> attributes;
    size_t begin = 0;
    size_t end = 0;
};

/// The tags of a well-formed text, one after the other.
class TagReader
{
public:
    explicit TagReader(std::string_view text)
        : m_text(text)
    {
    }

    /// The next tag; nothing at the end, and where this cannot go on.
    std::optional<Tag> next()
    {
        for (;;) {
            const size_t open = m_text.find('<', m_at);
            if (open == std::string_view::npos)
                return {};
            m_at = open;
            if (!skip("<!--", "-->") && !skip("<![CDATA[", "]]>") && !skip("<?", "?>"))
                return tag();
        }
    }

private:
    bool startsWith(std::string_view start) const
    {
        return m_text.substr(m_at, start.size()) == start;
    }

    bool skip(std::string_view start, std::string_view end)
    {
        if (!startsWith(start))
            return false;
        const size_t found = m_text.find(end, m_at + start.size());
        m_at = found == std::string_view::npos ? m_text.size() : found + end.size();
        return true;
    }

    std::string_view name()
    {
        const size_t begin = m_at;
        m_at = std::min(m_text.find_first_of(" \t\r\n=/><", m_at), m_text.size());
        return m_text.substr(begin, m_at - begin);
    }

    void skipBlanks()
    {
        m_at = std::min(m_text.find_first_not_of(kBlanks, m_at), m_text.size());
    }

    std::optional<Tag> tag()
    {
        Tag tag;
        tag.begin = m_at;
        if (startsWith("</")) {
            tag.kind = Tag::Kind::End;
            ++m_at;
        }
        ++m_at;
        tag.name = name();
        for (;;) {
            const size_t begin = m_at;
            skipBlanks();
            if (startsWith("/>")) {
                tag.kind = Tag::Kind::Empty;
                ++m_at;
            }
            if (startsWith(">")) {
                tag.end = ++m_at;
                return tag;
            }
            Attribute attribute;
            attribute.begin = begin;
            attribute.name = name();
            skipBlanks();
            if (attribute.name.empty() || !startsWith("="))
                return {};
            ++m_at;
            skipBlanks();
            if (!startsWith("\"") && !startsWith("'"))
                return {};
            const size_t close = m_text.find(m_text[m_at], m_at + 1);
            if (close == std::string_view::npos)
                return {};
            attribute.value = m_text.substr(m_at + 1, close - m_at - 1);
            attribute.end = m_at = close + 1;
            tag.attributes.push_back(attribute);
        }
    }

    std::string_view m_text;
    size_t m_at = 0;
};

std::string_view prefixOf(std::string_view name)
{
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}

std::string_view localName(std::string_view name)
{
    return name.substr(name.find(':') + 1);
}

bool isDeclaration(std::string_view attribute)
{
    return attribute == kDeclaration || prefixOf(attribute) == kDeclaration;
}

std::string asAttribute(const std::string& name, const std::string& value)
{
    const char quote = value.find('"') == std::string::npos ? '"' : '\'';
    return ' ' + name + '=' + quote + value + quote;
}

/// The text with other prefixes for names of elements and attributes.
std::string renamed(const std::string& text, const std::map<std::string, std::string>& prefixes)
{
    std::string result;
    size_t at = 0;
    const auto rename = [&](std::string_view name) {
        const auto other = prefixes.find(std::string(prefixOf(name)));
        if (other == prefixes.end())
            return;
        const auto begin = static_cast<size_t>(name.data() - text.data());
        result += text.substr(at, begin - at) + other->second;
        at = begin + other->first.size();
    };
    TagReader reader(text);
    while (const std::optional<Tag> tag = reader.next()) {
        rename(tag->name);
        for (const Attribute& attribute : tag->attributes)
            rename(attribute.name);
    }
    return result + text.substr(at);
}

} // namespace

/// Finds the descriptions with their properties.
class RKXmpPacketEditor::Parser
{
public:
    explicit Parser(RKXmpPacketEditor* editor)
        : m_editor(*editor)
        , m_reader(editor->m_text)
    {
    }

    void parse()
    {
        while (const std::optional<Tag> tag = next()) {
            for (const auto& [prefix, uri] : declaredIn(*tag))
                m_editor.m_namespaces[prefix] = uri;
            if (tag->kind != Tag::Kind::Start || !isRdf(nameOf(tag->name, {}, {}), "RDF"))
                continue;
            if (const std::optional<size_t> end = readNodes())
                m_editor.m_end = end;
            return;
        }
    }

private:
    std::optional<Tag> next()
    {
        const std::optional<Tag> tag = m_reader.next();
        if (!tag)
            return {};
        for (const auto& [prefix, uri] : declaredIn(*tag)) {
            // The default namespace does not apply to attributes, and "xml" is XML's own, whatever
            // a packet declares (Namespaces in XML 1.0, 3).
            if (!prefix.empty() && prefix != "xml" && m_editor.m_prefixes.count(uri) == 0
                && m_taken.insert(prefix).second)
                m_editor.m_prefixes.emplace(uri, prefix);
            if (++m_declarations > kMaxDeclarations)
                return {};
        }
        return tag;
    }

    static Namespaces declaredIn(const Tag& tag)
    {
        Namespaces namespaces;
        for (const Attribute& attribute : tag.attributes) {
            if (attribute.name == kDeclaration)
                namespaces[{}] = attribute.value;
            else if (isDeclaration(attribute.name))
                namespaces[std::string(localName(attribute.name))] = attribute.value;
        }
        return namespaces;
    }

    /// The name of an element or attribute with its own namespaces and those of the element around
    /// it, in rdf:RDF.
    Name nameOf(std::string_view name, const Namespaces& own, const Namespaces& outer) const
    {
        const std::string prefix(prefixOf(name));
        const Namespaces& around = m_editor.m_namespaces;
        for (const Namespaces* namespaces : {&own, &outer, &around}) {
            if (const auto found = namespaces->find(prefix); found != namespaces->end())
                return {withoutSlash(found->second), std::string(localName(name))};
        }
        return {{}, std::string(localName(name))};
    }

    static bool isRdf(const Name& name, std::string_view local)
    {
        return name.uri == kRdf && name.name == local;
    }

    /// The rest of rdf:RDF, up to where its end tag begins.
    std::optional<size_t> readNodes()
    {
        while (const std::optional<Tag> tag = next()) {
            if (tag->kind == Tag::Kind::End)
                return tag->begin;
            if (m_editor.m_descriptions.size() >= kMaxDescriptions)
                return {};
            const bool isRead = isRdf(nameOf(tag->name, declaredIn(*tag), {}), "Description")
                ? readDescription(*tag)
                : endOf(*tag).has_value();
            if (!isRead)
                return {};
        }
        return {};
    }

    bool readDescription(const Tag& start)
    {
        Description description;
        description.namespaces = declaredIn(start);
        for (const Attribute& attribute : start.attributes) {
            const Name name = nameOf(attribute.name, description.namespaces, {});
            if (isRdf(name, "about") || attribute.name == "about")
                description.about = attribute.value;
            else if (name.uri == kRdf || prefixOf(attribute.name) == "xml")
                description.isPlain = false;
            else if (!isDeclaration(attribute.name))
                description.properties.push_back({name, {attribute.begin, attribute.end}, true});
        }
        const std::optional<size_t> end
            = start.kind == Tag::Kind::Empty ? start.end : readProperties(&description);
        description.range = {start.begin, end.value_or(0)};
        m_editor.m_descriptions.push_back(description);
        return end.has_value();
    }

    /// The rest of a description, its end tag included.
    std::optional<size_t> readProperties(Description* description)
    {
        while (const std::optional<Tag> tag = next()) {
            if (tag->kind == Tag::Kind::End)
                return tag->end;
            const Name name = nameOf(tag->name, declaredIn(*tag), description->namespaces);
            const std::optional<size_t> end = endOf(*tag);
            if (!end)
                return {};
            description->properties.push_back({name, {tag->begin, *end}, false});
        }
        return {};
    }

    /// Where the element ends that begins with the tag.
    std::optional<size_t> endOf(const Tag& start)
    {
        if (start.kind == Tag::Kind::Empty)
            return start.end;
        size_t depth = 1;
        while (const std::optional<Tag> tag = next()) {
            if (tag->kind == Tag::Kind::Start)
                ++depth;
            else if (tag->kind == Tag::Kind::End && --depth == 0)
                return tag->end;
        }
        return {};
    }

    RKXmpPacketEditor& m_editor;
    TagReader m_reader;
    std::set<std::string> m_taken;
    size_t m_declarations = 0;
};

bool RKXmpPacketEditor::Name::operator<(const Name& other) const
{
    return std::tie(uri, name) < std::tie(other.uri, other.name);
}

RKXmpPacketEditor::RKXmpPacketEditor(const std::string& packet)
    : m_text(RKXmpPacketParser::inUtf8(packet))
{
    Parser(this).parse();
}

bool RKXmpPacketEditor::isValid() const
{
    return m_end.has_value();
}

std::multimap<RKXmpPacketEditor::Name, std::string> RKXmpPacketEditor::properties() const
{
    std::multimap<Name, std::string> all;
    for (const Description& description : m_descriptions) {
        all.emplace(Name{std::string(kRdf), "about"}, description.about);
        for (const Property& property : description.properties) {
            const auto [begin, end] = property.range;
            all.emplace(property.name, m_text.substr(begin, end - begin));
        }
    }
    return all;
}

std::string RKXmpPacketEditor::withoutSlash(const std::string& uri)
{
    return !uri.empty() && uri.back() == '/' ? uri.substr(0, uri.size() - 1) : uri;
}

/// What another packet's prefixes become in this one: the toolkit gets confused by a namespace that
/// has two of them.
RKXmpPacketEditor::Prefixes RKXmpPacketEditor::prefixesFor(const Namespaces& namespaces) const
{
    Prefixes prefixes;
    std::set<std::string> taken;
    for (const auto& [prefix, uri] : namespaces) {
        const auto known = m_prefixes.find(uri);
        if (prefix.empty() || known == m_prefixes.end())
            continue;
        prefixes[prefix] = known->second;
        taken.insert(known->second);
    }
    for (const auto& [prefix, uri] : namespaces) {
        if (prefixes.count(prefix) != 0)
            continue;
        std::string other = prefix;
        while (!taken.insert(other).second)
            other += '_';
        prefixes[prefix] = other;
    }
    return prefixes;
}

/// The properties of a description, as a description of its own in another packet.
std::string RKXmpPacketEditor::described(
    const Description& source, const std::set<Name>& names, const RKXmpPacketEditor& target) const
{
    std::string attributes;
    std::string elements;
    for (const Property& property : source.properties) {
        if (names.count(property.name) != 0)
            (property.isAttribute ? attributes : elements)
                += m_text.substr(property.range.begin, property.range.end - property.range.begin);
    }
    if (attributes.empty() && elements.empty())
        return {};

    Namespaces used = source.namespaces;
    used.insert(m_namespaces.begin(), m_namespaces.end());
    used["rdf"] = kRdf;
    std::erase_if(used, [&](const auto& declared) {
        const std::string start = declared.first + ':';
        const bool isUsed = declared.first.empty() || declared.first == "rdf"
            || attributes.find(start) != std::string::npos
            || elements.find(start) != std::string::npos;
        return !isUsed;
    });
    const Prefixes prefixes = target.prefixesFor(used);
    std::string declarations;
    for (const auto& [prefix, uri] : used) {
        const std::string& name = prefixes.at(prefix);
        const auto declared = target.m_namespaces.find(name);
        if (declared == target.m_namespaces.end() || declared->second != uri)
            declarations += asAttribute(name.empty() ? "xmlns" : "xmlns:" + name, uri);
    }
    const auto& descriptions = target.m_descriptions;
    const std::string about = descriptions.empty() ? source.about : descriptions.front().about;
    std::string text = renamed("<rdf:Description" + asAttribute("rdf:about", about) + attributes
            + '>' + elements + "</rdf:Description>",
        prefixes);
    return text.insert(text.find(' '), declarations);
}

std::string RKXmpPacketEditor::exchanged(
    const std::set<Name>& names, const RKXmpPacketEditor& source) const
{
    std::string added;
    for (const Description& description : source.m_descriptions)
        added += source.described(description, names, *this);

    const auto isNamed = [&](const Property& property) { return names.count(property.name) != 0; };
    const auto becomesEmpty = [&](const Description& description) {
        const auto& properties = description.properties;
        return !properties.empty() && description.isPlain
            && std::all_of(properties.begin(), properties.end(), isNamed);
    };
    // One has to stay for the subject.
    const bool keepsFirst
        = added.empty() && std::all_of(m_descriptions.begin(), m_descriptions.end(), becomesEmpty);

    std::string text;
    size_t at = 0;
    const auto leaveOut = [&](const Range& range) {
        text += m_text.substr(at, range.begin - at);
        at = range.end;
    };
    for (const Description& description : m_descriptions) {
        const bool isKept = keepsFirst && &description == &m_descriptions.front();
        if (!isKept && becomesEmpty(description)) {
            leaveOut(description.range);
            continue;
        }
        for (const Property& property : description.properties) {
            if (isNamed(property))
                leaveOut(property.range);
        }
    }
    text += m_text.substr(at, *m_end - at) + added + m_text.substr(*m_end);

    // A packet may keep its size where it ends in blanks (ISO 16684-1, 7.3.2).
    const size_t wrapper = text.rfind("<?xpacket end");
    if (wrapper == std::string::npos)
        return text;
    if (text.size() < m_text.size()) {
        text.insert(wrapper, m_text.size() - text.size(), ' ');
    } else {
        const size_t padding = text.find_last_not_of(kBlanks, wrapper - 1) + 1;
        text.erase(padding, std::min(text.size() - m_text.size(), wrapper - padding));
    }
    return text;
}

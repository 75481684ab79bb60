#include "RKImageLoader/xmp/RKXmpLimits_p.h"

#include <algorithm>
#include <vector>

namespace {

/// Counts what the tags of a text have.
class Counter
{
public:
    Counter(std::string_view text, int maxNodes)
        : m_text(text)
        , m_maxNodes(maxNodes)
    {
    }

    bool exceedsLimits()
    {
        size_t at = 0;
        while (!m_isExceeded && (at = m_text.find('<', at)) != std::string_view::npos) {
            const std::string_view rest = m_text.substr(at);
            if (rest.substr(0, 4) == "<!--")
                at = endOf("-->", at);
            else if (rest.substr(0, 9) == "<![CDATA[")
                at = endOf("]]>", at);
            else if (rest.substr(0, 2) == "<?")
                at = endOf("?>", at);
            else
                at = countTag(at);
        }
        return m_isExceeded;
    }

private:
    struct Element
    {
        int fields = 0;
        bool isRdf = false;
        /// An rdf:Description directly in rdf:RDF.
        bool hasProperties = false;
    };

    size_t endOf(std::string_view mark, size_t from) const
    {
        return std::min(m_text.find(mark, from), m_text.size());
    }

    /// Counts the tag at a place and returns where it ends.
    size_t countTag(size_t at)
    {
        ++at;
        if (m_text.substr(at, 1) == "/") {
            if (!m_open.empty())
                m_open.pop_back();
            return endOf(">", at);
        }
        const size_t nameEnd = std::min(m_text.find_first_of(" \t\r\n/>", at), m_text.size());
        const std::string_view name = m_text.substr(at, nameEnd - at);
        const std::string_view localName = name.substr(name.find(':') + 1);
        Element element;
        element.isRdf = localName == "RDF";
        element.hasProperties
            = localName == "Description" && !m_open.empty() && m_open.back().isRdf;
        if (localName != "li" && !m_open.empty())
            addField(m_open.back());
        ++m_nodes;
        at = nameEnd;
        while ((at = m_text.find_first_of("\"'>", at)) != std::string_view::npos) {
            if (m_text[at] == '>') {
                if (m_text[at - 1] != '/')
                    m_open.push_back(element);
                break;
            }
            const size_t close = m_text.find(m_text[at], at + 1);
            countAttribute(&element, m_text.substr(nameEnd, at - nameEnd));
            at = close == std::string_view::npos ? close : close + 1;
        }
        m_isExceeded
            = m_isExceeded || m_nodes > m_maxNodes || element.fields > RKXmpLimits::kMaxFields;
        return at;
    }

    void countAttribute(Element* element, std::string_view before)
    {
        ++m_nodes;
        // The name stands before the value.
        const size_t start = before.find_last_of(" \t\r\n\"'", before.find_last_not_of("= \t\r\n"));
        const std::string_view name
            = before.substr(start == std::string_view::npos ? 0 : start + 1);
        if (name.substr(0, 5) != "xmlns")
            addField(*element);
        else if (++m_declarations > RKXmpLimits::kMaxDeclarations)
            m_isExceeded = true;
    }

    void addField(Element& element)
    {
        if (++element.fields > RKXmpLimits::kMaxFields
            || (element.hasProperties && ++m_properties > RKXmpLimits::kMaxProperties))
            m_isExceeded = true;
    }

    const std::string_view m_text;
    const int m_maxNodes;
    std::vector<Element> m_open;
    int m_nodes = 0;
    int m_properties = 0;
    int m_declarations = 0;
    bool m_isExceeded = false;
};

} // namespace

bool RKXmpLimits::areExceededBy(std::string_view packet, int maxNodes)
{
    return Counter(packet, maxNodes).exceedsLimits();
}

#include "RKImageLoader/xmp/RKXmpNames_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <QHash>
#include <QList>
#include <QStringDecoder>
#include <QStringList>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

namespace {

constexpr QLatin1String kDeclaration("xmlns");

/// The prefix of a qualified name, empty without one.
QString prefixOf(const QString& qualifiedName)
{
    const qsizetype colon = qualifiedName.indexOf(QLatin1Char(':'));
    return colon < 0 ? QString() : qualifiedName.left(colon);
}

QString localName(const QString& qualifiedName)
{
    return qualifiedName.mid(qualifiedName.indexOf(QLatin1Char(':')) + 1);
}

QString qualified(const QString& prefix, const QString& name)
{
    return prefix.isEmpty() ? name : prefix + QLatin1Char(':') + name;
}

bool isDeclaration(const QString& attributeName)
{
    return attributeName == kDeclaration || prefixOf(attributeName) == kDeclaration;
}

/// The prefix that a namespace declaration declares; empty for the default namespace.
QString declaredPrefix(const QString& attributeName)
{
    return attributeName == kDeclaration ? QString() : localName(attributeName);
}

QString declarationOf(const QString& prefix)
{
    return prefix.isEmpty() ? QString(kDeclaration) : qualified(QString(kDeclaration), prefix);
}

/// Writers have bound these to outdated namespaces, as jpeg-region-of-interest.jpg of GNOME's tests
/// does with stArea; everybody reads them by their prefix.
bool isPrefixOfRegions(std::string_view prefix)
{
    constexpr std::array kNamespaces{RKXmpNames::kRegionsNamespace,
        RKXmpNames::kAreaNamespace,
        RKXmpNames::kDimensionsNamespace,
        RKXmpNames::kRdfSchemaNamespace,
        RKXmpNames::kRdfNamespace};
    return std::any_of(kNamespaces.begin(), kNamespaces.end(), [prefix](const auto& known) {
        return known.prefix == prefix;
    });
}

RKXmpPacketParser::Namespace namespaceFor(std::string_view declared, std::string_view uri)
{
    RKXmpPacketParser::Namespace result{
        std::string(declared), std::string(declared), std::string(uri)};
    if (const auto known = RKXmpNamespaces::knownPrefix(uri)) {
        result.usedPrefix = *known;
    } else if (!isPrefixOfRegions(declared)) {
        result.usedPrefix = RKXmpNamespaces::foreignPrefix(uri, result.declaredPrefix);
        result.isForeign = true;
    }
    return result;
}

QString usedPrefix(const QString& declared, QStringView uri)
{
    return QString::fromStdString(
        namespaceFor(declared.toStdString(), uri.toUtf8().toStdString()).usedPrefix);
}

/// The prefixes of the element that is being read, where they are to be replaced.
class PrefixScopes
{
public:
    /// Enters an element with these attributes.
    void enter(const QXmlStreamAttributes& attributes)
    {
        QStringList changed;
        for (const QXmlStreamAttribute& attribute : attributes) {
            const QString name = attribute.qualifiedName().toString();
            if (!isDeclaration(name))
                continue;
            const QString declared = declaredPrefix(name);
            const QString used = usedPrefix(declared, attribute.value());
            // Also an equal prefix hides what an outer element made of it.
            if (used == declared && !m_used.contains(declared))
                continue;
            m_used[declared].append(used);
            changed.append(declared);
        }
        m_changed.append(changed);
    }

    void leave()
    {
        const QStringList changed = m_changed.takeLast();
        for (const QString& declared : changed) {
            QStringList& used = m_used[declared];
            used.removeLast();
            if (used.isEmpty())
                m_used.remove(declared);
        }
    }

    QString elementName(const QString& name) const
    {
        if (m_used.isEmpty())
            return name;
        const QString prefix = prefixOf(name);
        const auto used = m_used.constFind(prefix);
        return used == m_used.constEnd() ? name : qualified(used->constLast(), localName(name));
    }

    QString attributeName(const QString& name) const
    {
        if (m_used.isEmpty())
            return name;
        if (isDeclaration(name)) {
            const QString declared = declaredPrefix(name);
            const auto used = m_used.constFind(declared);
            return used == m_used.constEnd() ? name : declarationOf(used->constLast());
        }
        // The default namespace is for elements only.
        return name.contains(QLatin1Char(':')) ? elementName(name) : name;
    }

private:
    /// From a declared prefix to the ones used for it; the last one belongs to the innermost
    /// element.
    QHash<QString, QStringList> m_used;
    /// For each open element the prefixes that it has added to m_used.
    QList<QStringList> m_changed;
};

/// Turns the reader's tokens into a document.
class DocumentBuilder
{
public:
    explicit DocumentBuilder(QXmlStreamReader* reader)
        : m_reader(reader)
        // Not null, unlike a default one; the empty name makes no document type.
        , m_document(QString())
        , m_current(m_document)
    {
    }

    QDomDocument document() const
    {
        return m_document;
    }

    /// Takes the reader's current token; a refusal becomes an error of the reader.
    void add()
    {
        switch (m_reader->tokenType()) {
        case QXmlStreamReader::StartElement: startElement(); break;
        case QXmlStreamReader::EndElement: endElement(); break;
        case QXmlStreamReader::Characters: characters(); break;
        case QXmlStreamReader::Comment:
            if (hasRoomFor(1))
                m_current.appendChild(m_document.createComment(m_reader->text().toString()));
            break;
        case QXmlStreamReader::ProcessingInstruction:
            if (hasRoomFor(1)) {
                m_current.appendChild(m_document.createProcessingInstruction(
                    m_reader->processingInstructionTarget().toString(),
                    m_reader->processingInstructionData().toString()));
            }
            break;
        case QXmlStreamReader::DTD:
            // Declares entities, which may grow without bound when they are expanded.
            m_reader->raiseError(QStringLiteral("document type declaration in XMP"));
            break;
        default: break;
        }
    }

private:
    /// Whether there may be so many nodes more.
    bool hasRoomFor(qsizetype nodes)
    {
        m_nodes += nodes;
        if (m_nodes > RKXmpPacketParser::kMaxNodes)
            m_reader->raiseError(QStringLiteral("too many elements and attributes"));
        return !m_reader->hasError();
    }

    void startElement()
    {
        const QXmlStreamAttributes attributes = m_reader->attributes();
        ++m_depth;
        if (m_depth > RKXmpPacketParser::kMaxDepth) {
            m_reader->raiseError(QStringLiteral("elements are nested too deeply"));
            return;
        }
        if (!hasRoomFor(1 + attributes.size()))
            return;
        m_blanks.clear();
        m_scopes.enter(attributes);
        QDomElement element
            = m_document.createElement(m_scopes.elementName(m_reader->qualifiedName().toString()));
        for (const QXmlStreamAttribute& attribute : attributes)
            element.setAttribute(m_scopes.attributeName(attribute.qualifiedName().toString()),
                attribute.value().toString());
        m_current = m_current.appendChild(element);
    }

    void endElement()
    {
        takeBlanks();
        m_current = m_current.parentNode();
        m_scopes.leave();
        --m_depth;
    }

    void characters()
    {
        // Blanks between elements are layout; those of an element without others are its value.
        if (m_reader->isWhitespace() && !m_reader->isCDATA()) {
            if (!m_current.hasChildNodes())
                m_blanks = m_reader->text().toString();
            return;
        }
        takeBlanks();
        const QString text = m_reader->text().toString();
        if (!m_reader->isCDATA())
            m_current.appendChild(m_document.createTextNode(text));
        else if (hasRoomFor(1))
            m_current.appendChild(m_document.createCDATASection(text));
    }

    void takeBlanks()
    {
        if (m_blanks.isEmpty())
            return;
        m_current.appendChild(m_document.createTextNode(m_blanks));
        m_blanks.clear();
    }

    QXmlStreamReader* m_reader;
    QDomDocument m_document;
    QDomNode m_current;
    PrefixScopes m_scopes;
    QString m_blanks;
    qsizetype m_nodes = 0;
    int m_depth = 0;
};

/// Writes a document. QDomDocument's own way moves the rest of a text for each character that it
/// escapes: it takes 14 s for a value of 2 MB in which every second one is "&".
class DocumentWriter
{
public:
    explicit DocumentWriter(QByteArray* bytes)
        : m_writer(bytes)
    {
    }

    void write(const QDomNode& node)
    {
        switch (node.nodeType()) {
        case QDomNode::DocumentNode: writeChildren(node); break;
        case QDomNode::ElementNode: writeElement(node.toElement()); break;
        case QDomNode::TextNode: writeText(node.nodeValue()); break;
        case QDomNode::CDATASectionNode: m_writer.writeCDATA(node.nodeValue()); break;
        case QDomNode::CommentNode: m_writer.writeComment(node.nodeValue()); break;
        case QDomNode::ProcessingInstructionNode:
            m_writer.writeProcessingInstruction(node.nodeName(), node.nodeValue());
            break;
        default: break;
        }
    }

private:
    void writeChildren(const QDomNode& parent)
    {
        for (QDomNode node = parent.firstChild(); !node.isNull(); node = node.nextSibling())
            write(node);
    }

    void writeElement(const QDomElement& element)
    {
        m_writer.writeStartElement(element.tagName());
        const QDomNamedNodeMap attributes = element.attributes();
        for (int i = 0; i < attributes.count(); ++i) {
            const QDomNode attribute = attributes.item(i);
            m_writer.writeAttribute(attribute.nodeName(), attribute.nodeValue());
        }
        writeChildren(element);
        m_writer.writeEndElement();
    }

    void writeText(const QString& text)
    {
        // Read as it is, a carriage return would become a line feed (XML 1.0, 2.11).
        const QStringList lines = text.split(u'\r');
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (i > 0)
                m_writer.writeEntityReference(QStringLiteral("#13"));
            m_writer.writeCharacters(lines[i]);
        }
    }

    QXmlStreamWriter m_writer;
};

/// An element of the packet may have more attributes than is sensible: there are more quotes after
/// an equals sign than that between one "<" and the next, which no value can contain.
bool mayHaveTooManyAttributes(std::string_view packet)
{
    int values = 0;
    char previous = 0;
    for (const char c : packet) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        if (c == '<')
            values = 0;
        else if (previous == '=' && (c == '"' || c == '\''))
            ++values;
        if (values > RKXmpPacketParser::kMaxAttributes)
            return true;
        previous = c;
    }
    return false;
}

std::string_view withoutTrailingNuls(std::string_view packet)
{
    const size_t last = packet.find_last_not_of('\0');
    return last == std::string_view::npos ? std::string_view() : packet.substr(0, last + 1);
}

} // namespace

bool RKXmpPacketParser::parse(const std::string& packet)
{
    m_document = QDomDocument();
    const std::string_view text = withoutTrailingNuls(packet);
    if (text.empty())
        return true;
    if (text.size() > kMaxPacketSize)
        return fail(1, 1, QStringLiteral("the packet is too large"));
    if (mayHaveTooManyAttributes(text))
        return fail(1, 1, QStringLiteral("an element has too many attributes"));

    QXmlStreamReader reader(
        QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size())));
    // Off, as an undeclared prefix is no reason to lose the faces.
    reader.setNamespaceProcessing(false);
    DocumentBuilder builder(&reader);
    while (!reader.atEnd()) {
        reader.readNext();
        builder.add();
    }
    if (reader.hasError())
        return fail(reader.lineNumber(), reader.columnNumber(), reader.errorString());
    m_document = builder.document();
    return true;
}

QDomDocument RKXmpPacketParser::document() const
{
    return m_document;
}

qint64 RKXmpPacketParser::errorLine() const
{
    return m_errorLine;
}

qint64 RKXmpPacketParser::errorColumn() const
{
    return m_errorColumn;
}

QString RKXmpPacketParser::errorMessage() const
{
    return m_errorMessage;
}

bool RKXmpPacketParser::fail(qint64 line, qint64 column, const QString& message)
{
    m_errorLine = line;
    m_errorColumn = column;
    m_errorMessage = message;
    return false;
}

std::vector<RKXmpPacketParser::Namespace> RKXmpPacketParser::ownNamespaces(
    const std::string& packet)
{
    std::vector<Namespace> found;
    static constexpr std::string_view kXmlns = "xmlns";
    const std::string_view text = packet;
    for (size_t at = text.find(kXmlns);
         at != std::string_view::npos && found.size() < kMaxNamespaces;
         at = text.find(kXmlns, at))
    {
        at += kXmlns.size();
        const size_t open = text.find_first_of("\"'", at);
        if (open == std::string_view::npos)
            break;
        const size_t close = text.find(text[open], open + 1);
        if (close == std::string_view::npos)
            break;
        // ":PREFIX =", or without a prefix.
        std::string_view declared = text.substr(at, open - at);
        declared = declared.substr(0, declared.find_first_of("= \t\r\n"));
        declared.remove_prefix(declared.empty() ? 0 : 1);
        Namespace entry = namespaceFor(declared, text.substr(open + 1, close - open - 1));
        if (entry.isForeign || entry.usedPrefix != entry.declaredPrefix)
            found.push_back(std::move(entry));
        at = close;
    }
    return found;
}

QString RKXmpPacketParser::validText(const QString& text)
{
    QString result = text;
    for (qsizetype i = 0; i < result.size(); ++i) {
        const QChar c = result.at(i);
        if (c.isHighSurrogate() && i + 1 < result.size() && result.at(i + 1).isLowSurrogate())
            ++i;
        else if (c.isSurrogate() || c.unicode() >= 0xFFFE)
            result[i] = QChar::ReplacementCharacter;
        else if (c.unicode() < 0x20 && c != QLatin1Char('\t') && c != QLatin1Char('\n')
            && c != QLatin1Char('\r'))
            result[i] = QLatin1Char(' ');
    }
    return result;
}

std::string RKXmpPacketParser::inUtf8(const std::string& packet)
{
    const QByteArrayView bytes(packet.data(), static_cast<qsizetype>(packet.size()));
    const auto encoding = QStringConverter::encodingForData(bytes, u'<');
    if (!encoding || *encoding == QStringConverter::Utf8)
        return std::string(withoutTrailingNuls(packet));
    const QString text = QStringDecoder(*encoding).decode(bytes);
    return std::string(withoutTrailingNuls(text.toStdString()));
}

std::string RKXmpPacketParser::serialize(const QDomDocument& document)
{
    QByteArray bytes;
    DocumentWriter(&bytes).write(document);
    return bytes.toStdString();
}

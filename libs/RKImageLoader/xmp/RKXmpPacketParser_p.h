#pragma once

#include <QDomDocument>
#include <QString>

#include <string>
#include <vector>

/// Parses an XMP packet, which comes from a file and may be hostile, into a DOM document.
///
/// The document names everything by qualified names. Namespaces that exiv2 knows appear under the
/// prefixes that exiv2 writes, whatever the packet calls them; a known prefix that the packet binds
/// to a namespace of its own gets a digit appended, except where a face region would be lost by
/// that. Other namespaces have one prefix for all files of the process: that of the first file,
/// with digits appended where another namespace has it.
///
/// Unlike QDomDocument::setContent() it keeps the blanks of a value that is nothing but blanks, and
/// it refuses what would exhaust stack, memory or time: document type declarations (and with them
/// entities), deep nesting, and packets, elements and attributes beyond any real file's.
///
/// Reentrant.
class RKXmpPacketParser
{
public:
    /// Largest packet that is parsed, in bytes. Histories of edited files reach some megabytes.
    static constexpr size_t kMaxPacketSize = 16 * 1024 * 1024;
    /// Deepest nesting of elements: QDomDocument recurses, and takes half a second for a nesting of
    /// 10 000. Real packets stay below 30.
    static constexpr int kMaxDepth = 128;
    /// Most elements and attributes, with comments, instructions and CDATA sections; 100 000 of
    /// each of the first two take 250 MB.
    static constexpr int kMaxNodes = 50'000;
    /// Most attributes of one element: QXmlStreamReader compares each with each, and takes a
    /// quarter of a second for 10 000.
    static constexpr int kMaxAttributes = 2'000;

    /// False for a packet that is not well-formed or is refused; an empty one, also one of
    /// NUL bytes only, gives an empty document.
    bool parse(const std::string& packet);

    /// The document of the last parse(); empty if that failed.
    QDomDocument document() const;

    /// Where and why the last parse() failed; lines count from 1.
    qint64 errorLine() const;
    qint64 errorColumn() const;
    QString errorMessage() const;

    /// A namespace that a packet declares.
    struct Namespace
    {
        /// Empty for the default namespace.
        std::string declaredPrefix;
        /// The one that parse() replaces it by; may be the same.
        std::string usedPrefix;
        std::string uri;
        /// exiv2 has no prefix of its own for it.
        bool isForeign = false;
    };

    /// Most namespaces of its own that a packet may have; real ones have some dozens.
    static constexpr size_t kMaxNamespaces = 1'000;
    /// Those that exiv2 does not know, and those that it calls otherwise.
    static std::vector<Namespace> ownNamespaces(const std::string& packet);

    /// The text without characters that XML 1.0, 2.2 forbids: control characters become blanks,
    /// others U+FFFD. One such character in a value makes the whole packet unreadable.
    static QString validText(const QString& text);

    /// The packet in UTF-8: older files have it in UTF-16 or UTF-32, in either byte order (ISO
    /// 16684-1, 7.1). Without the NUL bytes that may follow it.
    static std::string inUtf8(const std::string& packet);

    /// The text of a document without indentation, to be parsed again or given to exiv2.
    static std::string serialize(const QDomDocument& document);

private:
    bool fail(qint64 line, qint64 column, const QString& message);

    QDomDocument m_document;
    qint64 m_errorLine = 0;
    qint64 m_errorColumn = 0;
    QString m_errorMessage;
};

#include "RKImageLoader/guards/RKCssReferences_p.h"
#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/guards/RKGzip_p.h"
#include "RKImageLoader/guards/RKSvgDrawingCost_p.h"
#include "RKImageLoader/guards/RKSvgPaintCost_p.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>
#include <QLatin1String>
#include <QStringDecoder>
#include <QSvgRenderer>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace {

// Documents inside documents: one picture in a drawing, and one to spare.
constexpr int kMaxEmbedding = 3;

// The text of a document that isn't written in a superset of ASCII, which XML shows by its first
// bytes (XML 1.0, appendix F); absent for all others.
std::optional<QString> wideText(const QByteArray& data)
{
    const auto encoding = QStringConverter::encodingForData(data, u'<');
    if (!encoding || *encoding == QStringConverter::Utf8)
        return {};
    return QString(QStringDecoder(*encoding).decode(data));
}

// Counts what makes an XML reader slow, before one sees the document. The document need not be
// well-formed: reading stops at the first error, and what comes before it is counted right.
class MarkupCount
{
public:
    explicit MarkupCount(const QByteArray& utf8)
        : m_data(utf8)
    {
        for (qsizetype i = m_data.indexOf('<'); i >= 0; i = m_data.indexOf('<', i + 1)) {
            const QByteArrayView markup = QByteArrayView(m_data).sliced(i + 1);
            if (markup.startsWith("!ENTITY"))
                ++m_entities;
            else if (markup.startsWith("!ATTLIST"))
                m_attributeDeclarations += lengthOfMarkup(markup);
            else if (!markup.isEmpty() && !std::strchr("!?/", markup.front())) {
                ++m_elements;
                m_attributes = std::max(m_attributes, attributes(markup));
            }
        }
        if (m_entities > 0)
            countReferences();
    }

    const char* problem() const
    {
        // No character of XML; it could hide markup from this count.
        if (m_data.contains('\0'))
            return "a null character";
        if (m_elements > RKSvgSanitizer::kMaxElements)
            return "too many elements";
        if (m_attributes > RKSvgSanitizer::kMaxAttributes)
            return "too many attributes";
        if (m_entities > RKSvgSanitizer::kMaxEntities)
            return "too many entities";
        if (m_attributeDeclarations > RKSvgSanitizer::kMaxAttributeDeclarations)
            return "too many attribute declarations";
        if (m_references * RKSvgSanitizer::kMaxEntityExpansion > RKSvgSanitizer::kMaxBytes)
            return "too many references to entities";
        return nullptr;
    }

private:
    // There is no '<' in a tag.
    static qsizetype lengthOfMarkup(QByteArrayView markup)
    {
        const qsizetype end = markup.indexOf('<');
        return end < 0 ? markup.size() : end;
    }

    static int attributes(QByteArrayView markup)
    {
        int count = 0;
        char quote = 0;
        for (const char character : markup) {
            if (character == '<' || (!quote && character == '>'))
                break;
            if (quote)
                quote = character == quote ? char(0) : quote;
            else if (character == '"' || character == '\'')
                quote = character;
            else if (character == '=')
                ++count;
        }
        return count;
    }

    void countReferences()
    {
        constexpr std::array<const char*, 6> kWithoutExpansion{
            "&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#"};
        for (qsizetype i = m_data.indexOf('&'); i >= 0; i = m_data.indexOf('&', i + 1)) {
            const QByteArrayView reference = QByteArrayView(m_data).sliced(i);
            const auto starts = [&](const char* text) { return reference.startsWith(text); };
            if (std::none_of(kWithoutExpansion.begin(), kWithoutExpansion.end(), starts))
                ++m_references;
        }
    }

    const QByteArray& m_data;
    qint64 m_elements = 0;
    int m_attributes = 0;
    qint64 m_entities = 0;
    qint64 m_attributeDeclarations = 0;
    qint64 m_references = 0;
};

// What is left for the pictures inside a document; documents inside it share it. They are painted
// beside the document itself.
struct Budget
{
    qint64 pixels = RKSvgSanitizer::kMaxEmbeddedPixels;
    double painting = RKSvgPaintCost::kMaxCost / 4;
};

// The memory that a renderer takes for a document, measured with Qt's.
class MemoryClaim
{
public:
    void addDocument(qint64 bytes)
    {
        // It is text in 16 bits at times, and in several copies.
        constexpr qint64 kPerByte = 12;
        m_bytes += kPerByte * bytes;
    }

    void addElement(const QString& name)
    {
        constexpr qint64 kElement = 800;
        // What is painted as a path keeps its points in a form of their own.
        constexpr qint64 kPath = 3300;
        m_bytes += name == QLatin1String("path") ? kElement + kPath : kElement;
    }

    // Declarations are needed one style at a time.
    void addStyle(qint64 length)
    {
        constexpr qint64 kPerCharacter = 50;
        m_bytesOfStyle = std::max(m_bytesOfStyle, kPerCharacter * length);
    }

    // Real drawings take less than a hundred bytes for each of their file.
    bool isAffordable(qint64 fileSize) const
    {
        constexpr qint64 kMaxPerByte = 96;
        const qint64 claim = m_bytes + m_bytesOfStyle;
        return claim <= RKImageLimits::kMaxClaim || claim / kMaxPerByte <= fileSize;
    }

private:
    qint64 m_bytes = 0;
    qint64 m_bytesOfStyle = 0;
};

// Copies one document, leaving out what must not reach a renderer.
class Copier
{
public:
    Copier(int embedding, Budget& budget)
        : m_writer(&m_result)
        , m_embedding(embedding)
        , m_budget(budget)
    {
    }

    // Empty when the document is refused; problem() then has the reason if it is worth telling.
    QByteArray copy(const QByteArray& svg)
    {
        const QByteArray document = decompressed(svg);
        m_memory.addDocument(document.size());
        checkMemory(svg);
        if (hasProblem() || document.isEmpty())
            return {};

        QXmlStreamReader reader;
        if (const std::optional<QString> text = wideText(document)) {
            setProblem(MarkupCount(text->toUtf8()).problem());
            reader.addData(*text);
        } else {
            setProblem(MarkupCount(document).problem());
            reader.addData(document);
        }
        // Undeclared prefixes are common, and renderers don't mind them.
        reader.setNamespaceProcessing(false);
        reader.setEntityExpansionLimit(RKSvgSanitizer::kMaxEntityExpansion);

        while (!hasProblem() && !reader.atEnd())
            copyToken(reader);
        checkMemory(svg);
        if (!hasProblem() && !reader.hasError() && !m_cost.isAffordable())
            setProblem("elements that draw each other too often");
        if (m_budget.pixels < 0)
            setProblem("too many pixels in the pictures inside it");
        if (m_budget.painting < 0)
            setProblem("painting a drawing inside it takes too long");
        return hasProblem() || reader.hasError() ? QByteArray() : m_result;
    }

    const char* problem() const
    {
        return m_problem;
    }

private:
    bool hasProblem() const
    {
        return m_problem != nullptr;
    }

    void setProblem(const char* problem)
    {
        m_problem = problem;
    }

    void checkMemory(const QByteArray& svg)
    {
        if (!hasProblem() && !m_memory.isAffordable(svg.size()))
            setProblem("too much memory for its length");
    }

    QByteArray decompressed(const QByteArray& svg)
    {
        if (!RKGzip::isGzip(svg)) {
            if (svg.size() > RKSvgSanitizer::kMaxBytes)
                setProblem("too many bytes");
            return svg;
        }
        const auto inflated = RKGzip::inflated(svg, RKSvgSanitizer::kMaxBytes);
        if (!inflated)
            setProblem("damaged compression or too many bytes");
        return inflated.value_or(QByteArray());
    }

    void copyToken(QXmlStreamReader& reader)
    {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement: copyStart(reader); break;
        case QXmlStreamReader::EndElement: copyEnd(); break;
        case QXmlStreamReader::Characters: copyText(reader); break;
        default:
            // Neither the document type, whose entities are resolved by now, nor instructions for
            // style sheets; nothing is drawn for all others.
            break;
        }
        // References to entities multiply what comes in.
        if (m_result.size() > 2 * RKSvgSanitizer::kMaxBytes)
            setProblem("too many bytes");
    }

    void copyStart(const QXmlStreamReader& reader)
    {
        // Entities may hold further elements.
        if (++m_elements > RKSvgSanitizer::kMaxElements) {
            setProblem("too many elements");
            return;
        }
        if (++m_depth > RKSvgSanitizer::kMaxDepth) {
            setProblem("too many elements inside one another");
            return;
        }
        const QXmlStreamAttributes attributes = reader.attributes();
        // Renderers compare each class of an element.
        m_classes += attributes.value(QLatin1String("class")).trimmed().count(u' ') + 1;
        checkStyleMatches();

        m_names.append(reader.name().toString());
        m_memory.addElement(m_names.last());
        m_memory.addStyle(attributes.value(QLatin1String("style")).size());
        m_openStyles += m_names.last() == QLatin1String("style") ? 1 : 0;
        m_writer.writeStartElement(reader.qualifiedName().toString());
        QStringList targets;
        qint64 length = 0;
        for (const QXmlStreamAttribute& attribute : attributes) {
            length += attribute.value().size();
            const std::optional<QString> value = safeValue(attribute);
            if (!value)
                continue;
            m_writer.writeAttribute(attribute.qualifiedName().toString(), *value);
            if (attribute.name() == QLatin1String("href") && value->startsWith(u'#'))
                targets.append(value->sliced(1));
        }
        m_cost.begin(idOf(attributes), costOfElement(length));
        if (!isDrawnThrough())
            return;
        // Renderers differ in which of several references they follow.
        for (const QString& target : std::as_const(targets))
            m_cost.refer(target);
    }

    static QString idOf(const QXmlStreamAttributes& attributes)
    {
        const QStringView id = attributes.value(QLatin1String("id"));
        return (id.isEmpty() ? attributes.value(QLatin1String("xml:id")) : id).toString();
    }

    void copyEnd()
    {
        if (m_names.last() == QLatin1String("style") && --m_openStyles == 0)
            copyStyle();
        m_writer.writeEndElement();
        m_names.removeLast();
        --m_depth;
        m_cost.end();
    }

    void copyText(const QXmlStreamReader& reader)
    {
        if (m_names.isEmpty())
            return;
        const QString text = reader.text().toString();
        if (m_openStyles > 0)
            m_style += text;
        else if (reader.isCDATA())
            m_writer.writeCDATA(text);
        else
            m_writer.writeCharacters(text);
        const bool isWrapped = m_names.contains(QLatin1String("textArea"));
        if (isWrapped || m_names.contains(QLatin1String("text"))) {
            m_cost.begin({}, costOfText(text, isWrapped));
            m_cost.end();
        }
    }

    // A style sheet is taken as a whole: renderers may read its sections one by one or all in one,
    // and neither way may make a reference of them.
    void copyStyle()
    {
        m_writer.writeCDATA(RKCssReferences::withoutExternal(m_style));
        const auto isSelector = [](QChar c) { return c == u'{' || c == u',' || c == u' '; };
        m_selectors += std::count_if(m_style.cbegin(), m_style.cend(), isSelector);
        // Renderers look for the element before another one from the first one on.
        m_siblingSelectors += m_style.count(u'+');
        m_memory.addStyle(m_style.size());
        m_style.clear();
        checkStyleMatches();
    }

    // The current element draws its target, or takes over the target's colours.
    bool isDrawnThrough() const
    {
        const QString& name = m_names.last();
        return name == QLatin1String("use") || name.endsWith(QLatin1String("Gradient"));
    }

    // Measured with rectangles, texts and long paths of a few pixels.
    qint64 costOfElement(qint64 lengthOfAttributes)
    {
        constexpr qint64 kText = 10;
        constexpr qint64 kLengthOfShape = 128;
        // The colours of a gradient are sorted one by one.
        constexpr qint64 kStopsOfShape = 500;
        const QString& name = m_names.last();
        const bool isText = name == QLatin1String("text") || name == QLatin1String("tspan");
        if (name.endsWith(QLatin1String("Gradient")))
            m_stops = 0;
        else if (name == QLatin1String("stop"))
            ++m_stops;
        return (isText ? kText : 1) + lengthOfAttributes / kLengthOfShape + m_stops / kStopsOfShape;
    }

    // The layout of a section of text, which finds the glyphs of its characters. Every character of
    // a wrapped text may get a line of its own.
    static qint64 costOfText(const QString& text, bool isWrapped)
    {
        constexpr qint64 kSection = 20;
        constexpr qint64 kCharacter = 3;
        constexpr qint64 kLine = 5;
        // From here on, characters combine, or their fonts have to be looked for.
        static constexpr QChar kFirstRare(0x300);
        constexpr qint64 kRareCharacter = 7;
        const auto isRare = [](QChar c) { return c >= kFirstRare; };
        return kSection + (isWrapped ? kCharacter + kLine : kCharacter) * text.size()
            + kRareCharacter * std::count_if(text.cbegin(), text.cend(), isRare);
    }

    void checkStyleMatches()
    {
        constexpr qint64 kSiblingsAtOnce = 16;
        const qint64 selectors = m_selectors + m_siblingSelectors * m_elements / kSiblingsAtOnce;
        if (selectors * m_classes > RKSvgSanitizer::kMaxStyleMatches)
            setProblem("too many style rules for its elements");
    }

    // The value that may stay; absent when the attribute has to go.
    std::optional<QString> safeValue(const QXmlStreamAttribute& attribute)
    {
        const QString value = attribute.value().toString();
        if (attribute.qualifiedName() == QLatin1String("xml:base"))
            return {};
        if (attribute.name().compare(QLatin1String("href"), Qt::CaseInsensitive) == 0
            || attribute.name().compare(QLatin1String("src"), Qt::CaseInsensitive) == 0)
        {
            return safeReference(value);
        }
        return value.contains(u'(') ? RKCssReferences::withoutExternal(value) : value;
    }

    std::optional<QString> safeReference(const QString& reference)
    {
        const QString trimmed = reference.trimmed();
        if (trimmed.startsWith(u'#'))
            return trimmed;
        // Renderers take inline data in this form alone, and "DATA:" for the name of a file.
        const QLatin1String marker("base64,");
        const qsizetype code = trimmed.lastIndexOf(marker);
        if (!trimmed.startsWith(QLatin1String("data:")) || code < 0)
            return {};
        const QByteArray data
            = QByteArray::fromBase64(QStringView(trimmed).sliced(code + marker.size()).toLatin1());
        if (RKEmbeddedPicture::format(data).startsWith("svg"))
            return safeDocument(data);
        if (!isAffordable(RKEmbeddedPicture::size(data)))
            return {};
        return trimmed;
    }

    std::optional<QString> safeDocument(const QByteArray& svg)
    {
        if (m_embedding >= kMaxEmbedding)
            return {};
        const QByteArray document = Copier(m_embedding + 1, m_budget).copy(svg);
        if (document.isEmpty())
            return {};
        // Renderers paint it at its own size, whatever is asked of the outer drawing.
        QSvgRenderer renderer;
        renderer.setFramesPerSecond(0);
        renderer.load(document);
        const QSize size = renderer.defaultSize();
        if (!isAffordable(size))
            return {};
        m_budget.painting -= RKSvgPaintCost::of(renderer, size);
        return QLatin1String("data:image/svg+xml;base64,")
            + QString::fromLatin1(document.toBase64());
    }

    // Renderers decode all pictures at once, and drawings at their own size.
    bool isAffordable(const QSize& picture)
    {
        if (picture.isEmpty())
            return false;
        m_budget.pixels -= qint64(picture.width()) * picture.height();
        return m_budget.pixels >= 0;
    }

    QByteArray m_result;
    QXmlStreamWriter m_writer;
    int m_embedding;
    Budget& m_budget;
    RKSvgDrawingCost m_cost;
    MemoryClaim m_memory;
    // Those of the gradient that began last.
    qint64 m_stops = 0;
    // The local names of the open elements.
    QStringList m_names;
    // The text of the style sheet that is open, and how many are inside one another.
    QString m_style;
    int m_openStyles = 0;
    int m_elements = 0;
    // Those of all elements, at least one for each.
    qint64 m_classes = 0;
    int m_depth = 0;
    qint64 m_selectors = 0;
    qint64 m_siblingSelectors = 0;
    const char* m_problem = nullptr;
};

} // namespace

QByteArray RKSvgSanitizer::sanitized(const QByteArray& svg)
{
    QString problem;
    QByteArray document = sanitized(svg, &problem);
    if (!problem.isEmpty())
        qCWarning(rkLoad).noquote() << "SVG document refused:" << problem;
    return document;
}

QByteArray RKSvgSanitizer::sanitized(const QByteArray& svg, QString* problem)
{
    Budget budget;
    Copier copier(0, budget);
    QByteArray document = copier.copy(svg);
    *problem = QString::fromLatin1(copier.problem());
    return document;
}

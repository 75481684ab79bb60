#include "RKImageLoader/xmp/RKRdfStructure_p.h"
#include "RKImageLoader/xmp/RKXmpNames_p.h"

#include <QDomDocument>

namespace {

constexpr QLatin1String kResource("Resource");

/// An attribute that is a field, and neither XML's nor RDF's own.
bool isField(const QString& attributeName)
{
    return attributeName.contains(QLatin1Char(':'))
        && !attributeName.startsWith(QLatin1String("xml"))
        && !attributeName.startsWith(QLatin1String("rdf:"));
}

QDomElement appendElement(QDomElement& parent, const QString& name)
{
    return parent.appendChild(parent.ownerDocument().createElement(name)).toElement();
}

void setElementText(QDomElement element, const QString& text)
{
    while (element.hasChildNodes())
        element.removeChild(element.firstChild());
    if (!text.isEmpty())
        element.appendChild(element.ownerDocument().createTextNode(text));
}

} // namespace

RKRdfStructure::RKRdfStructure(const QDomElement& element)
    : m_element(element)
{
}

bool RKRdfStructure::isNull() const
{
    return m_element.isNull();
}

QDomElement RKRdfStructure::description() const
{
    return m_element.firstChildElement(RKXmpNames::kDescription);
}

bool RKRdfStructure::isParsedAsResource() const
{
    return m_element.attribute(RKXmpNames::kParseType) == kResource;
}

void RKRdfStructure::setParsedAsResource(QDomElement element)
{
    element.setAttribute(RKXmpNames::kParseType, kResource);
}

QList<RKRdfStructure::Place> RKRdfStructure::places(const QString& field) const
{
    const QDomElement inner = description();
    QList<Place> found;
    if (const QDomElement child = m_element.firstChildElement(field); !child.isNull())
        found.append({child, false});
    if (m_element.hasAttribute(field))
        found.append({m_element, true});
    if (inner.hasAttribute(field))
        found.append({inner, true});
    if (const QDomElement child = inner.firstChildElement(field); !child.isNull())
        found.append({child, false});
    return found;
}

QStringList RKRdfStructure::texts(const QString& field) const
{
    QStringList result;
    for (const Place& place : places(field))
        result.append(place.isAttribute ? place.owner.attribute(field) : place.owner.text());
    return result;
}

QString RKRdfStructure::text(const QString& field) const
{
    return texts(field).value(0);
}

bool RKRdfStructure::isAttribute(const QString& field) const
{
    const QList<Place> found = places(field);
    return !found.isEmpty() && found.constFirst().isAttribute;
}

void RKRdfStructure::write(const Place& place, const QString& field, const QString& text)
{
    QDomElement owner = place.owner;
    if (place.isAttribute)
        owner.setAttribute(field, text);
    else
        setElementText(owner, text);
}

void RKRdfStructure::replaceText(const QString& field, const QString& text)
{
    if (const QList<Place> found = places(field); !found.isEmpty())
        write(found.constFirst(), field, text);
}

void RKRdfStructure::setText(const QString& field, const QString& text)
{
    if (!places(field).isEmpty())
        replaceText(field, text);
    else if (const QDomElement inner = description(); !inner.isNull())
        write({inner, true}, field, text);
    else if (!isParsedAsResource() && !m_element.hasChildNodes())
        write({m_element, true}, field, text);
    else
        setElementText(addElement(field), text);
}

void RKRdfStructure::removeField(const QString& field)
{
    for (const Place& place : places(field)) {
        QDomElement owner = place.owner;
        if (place.isAttribute)
            owner.removeAttribute(field);
        else
            owner.parentNode().removeChild(owner);
    }
}

QDomElement RKRdfStructure::element(const QString& field) const
{
    const QDomElement child = m_element.firstChildElement(field);
    return child.isNull() ? description().firstChildElement(field) : child;
}

RKRdfStructure RKRdfStructure::structure(const QString& field) const
{
    return RKRdfStructure(element(field));
}

QDomElement RKRdfStructure::wrapAttributes()
{
    QDomElement inner = appendElement(m_element, RKXmpNames::kDescription);
    const QDomNamedNodeMap attributes = m_element.attributes();
    QStringList moved;
    for (int i = 0; i < attributes.count(); ++i) {
        if (const QString name = attributes.item(i).nodeName(); isField(name))
            moved.append(name);
    }
    for (const QString& name : moved) {
        inner.setAttribute(name, m_element.attribute(name));
        m_element.removeAttribute(name);
    }
    return inner;
}

QDomElement RKRdfStructure::ownerOfElements()
{
    if (const QDomElement inner = description(); !inner.isNull())
        return inner;
    if (isParsedAsResource())
        return m_element;
    // A property may have attributes for fields or elements for fields, not both.
    return wrapAttributes();
}

QDomElement RKRdfStructure::addElement(const QString& field)
{
    QDomElement owner = ownerOfElements();
    return appendElement(owner, field);
}

RKRdfStructure RKRdfStructure::addStructure(const QString& field)
{
    const QDomElement added = addElement(field);
    setParsedAsResource(added);
    return RKRdfStructure(added);
}

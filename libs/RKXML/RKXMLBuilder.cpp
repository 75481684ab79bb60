#include "RKXML/RKXMLBuilder.h"

QDomElement RKXMLBuilder::buildDomElement(
    QDomElement& parent, const QString& name, const QString& text)
{
    if (parent.isNull())
        return {};
    QDomDocument document = parent.ownerDocument();
    QDomElement child = document.createElement(name);
    if (!text.isEmpty())
        child.appendChild(document.createTextNode(text));
    parent.appendChild(child);
    return child;
}

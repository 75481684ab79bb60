#pragma once

#include "RKXML/RKXMLExport.h"

#include <QDomElement>
#include <QString>

/// Helpers that build DOM documents. Only one thread at a time may use a document.
class RKXML_EXPORT RKXMLBuilder
{
public:
    /// Makes a child element, appends it to the parent and returns it. A text that is not empty
    /// becomes the child's text node. A null parent gives a null element.
    static QDomElement buildDomElement(
        QDomElement& parent, const QString& name, const QString& text = QString());
};

#pragma once

#include <QDomElement>
#include <QList>
#include <QString>
#include <QStringList>

/// A structure in the RDF of an XMP packet: a property with named fields.
///
/// RDF allows fields to be child elements or, if they are plain texts, attributes; both may sit on
/// the property's own element or on an rdf:Description in it (ISO 16684-1, 7.9). Files
/// have all of these. Readers look everywhere, and writers change a field where it is: a wrong
/// mixture is illegal, and the whole packet would be lost.
class RKRdfStructure
{
public:
    /// Null: has no fields and takes none.
    RKRdfStructure() = default;
    explicit RKRdfStructure(const QDomElement& element);

    bool isNull() const;

    /// The texts of a field, from the first place that counts to the last: child element,
    /// attribute, the description's attribute, the description's child element.
    QStringList texts(const QString& field) const;
    /// The first of them; null without such a field.
    QString text(const QString& field) const;

    /// Changes an existing field; does nothing without one.
    void replaceText(const QString& field, const QString& text);
    /// Changes or adds a field.
    void setText(const QString& field, const QString& text);
    void removeField(const QString& field);

    /// Whether the text of the field is an attribute that no child element hides.
    bool isAttribute(const QString& field) const;

    /// The element of a field; null if it has none.
    QDomElement element(const QString& field) const;
    /// A field that is a structure itself; null without it.
    RKRdfStructure structure(const QString& field) const;

    /// Adds an element for a field that is not plain text.
    QDomElement addElement(const QString& field);
    /// Adds a field that is a structure without fields.
    RKRdfStructure addStructure(const QString& field);

    /// Marks an element as a structure whose fields are child elements.
    static void setParsedAsResource(QDomElement element);

private:
    /// The place of a field: an element of its own, or an attribute of the owner.
    struct Place
    {
        QDomElement owner;
        bool isAttribute = false;
    };

    QDomElement description() const;
    bool isParsedAsResource() const;
    QList<Place> places(const QString& field) const;
    QDomElement ownerOfElements();
    QDomElement wrapAttributes();
    void write(const Place& place, const QString& field, const QString& text);

    QDomElement m_element;
};

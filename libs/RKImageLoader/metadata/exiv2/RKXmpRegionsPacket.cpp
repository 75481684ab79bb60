#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegionsPacket_p.h"
#include "RKImageLoader/xmp/RKRdfStructure_p.h"
#include "RKImageLoader/xmp/RKXmpNames_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include "RKXML/RKXMLBuilder.h"

#include <QDebug>
#include <QHash>

#include <cmath>

using namespace RKXmpNames;

namespace {

constexpr QLatin1String kPixel("pixel");
constexpr QLatin1String kNormalized("normalized");
constexpr QLatin1String kFace("Face");

/// The namespaces that the regions need.
constexpr RKXmpNamespace kNamespaces[] = {
    kRegionsNamespace, kRdfSchemaNamespace, kAreaNamespace, kDimensionsNamespace, kHostNamespace};

QString fromLatin1(std::string_view latin1)
{
    return QString::fromLatin1(latin1.data(), qsizetype(latin1.size()));
}

QString numberText(double number)
{
    return QString::number(number, 'g', 6);
}

bool isDeclared(QDomElement element, const QString& attribute)
{
    for (; !element.isNull(); element = element.parentNode().toElement()) {
        if (element.hasAttribute(attribute))
            return true;
    }
    return false;
}

void addMissingDeclarations(QDomElement element)
{
    for (const RKXmpNamespace& needed : kNamespaces) {
        const QString attribute = QStringLiteral("xmlns:") + fromLatin1(needed.prefix);
        if (!isDeclared(element, attribute))
            element.setAttribute(attribute, fromLatin1(needed.uri));
    }
}

bool isFaceRegion(const RKRdfStructure& region)
{
    return region.text(kType).compare(kFace, Qt::CaseInsensitive) == 0;
}

/// The area of a region; the zero rectangle without a usable one.
QRectF readArea(const RKRdfStructure& region)
{
    const RKRdfStructure area = region.structure(kArea);
    if (area.isNull())
        return QRectF(0, 0, 0, 0);

    const QString xText = area.text(kAreaX);
    const QString yText = area.text(kAreaY);
    const QString hText = area.text(kAreaH);
    const QString wText = area.text(kAreaW);
    bool xOk = false;
    bool yOk = false;
    bool hOk = false;
    bool wOk = false;
    const double x = RKXmpRegionsPacket::toDouble(xText, &xOk);
    const double y = RKXmpRegionsPacket::toDouble(yText, &yOk);
    const double h = RKXmpRegionsPacket::toDouble(hText, &hOk);
    const double w = RKXmpRegionsPacket::toDouble(wText, &wOk);
    if (!xOk || !yOk || !hOk || !wOk) {
        qWarning().noquote() << "failed to cast string to double in at least one of:" << xText
                             << yText << hText << wText;
        return QRectF(0, 0, 0, 0);
    }

    // The stored point is the centre.
    const QRectF rect(x + w * -0.5, y + h * -0.5, w, h);
    const QString unit = area.text(kAreaUnit);
    if (unit.compare(kNormalized, Qt::CaseInsensitive) == 0)
        return rect;
    // Kept: an area in pixels is not converted, one without a unit may well be normalised. See
    // RKXmpRegionsTest::unitsDecideWhichAreasCount.
    if (!RKXmpRegionsPacket::isRectNormalized(rect)) {
        qWarning() << "face rect is not normalized:" << rect;
        return QRectF(0, 0, 0, 0);
    }
    return rect;
}

RKClusterId readClusterId(const RKRdfStructure& extensions)
{
    for (const QString& text : extensions.texts(kClusterId)) {
        bool ok = false;
        if (const RKClusterId id = RKXmpRegionsPacket::toClusterId(text, &ok); ok)
            return id;
    }
    return RKClusterId();
}

qint64 readCoverImageEpoch(const RKRdfStructure& extensions)
{
    for (const QString& text : extensions.texts(kCoverImageEpoch)) {
        bool ok = false;
        if (const qint64 epoch = RKXmpRegionsPacket::toInt64(text, &ok); ok)
            return epoch;
    }
    return RKFacePosition::invalidCoverImageEpoch();
}

/// The face of a region; an invalid one for other regions.
RKFacePosition facePosition(const RKRdfStructure& region, int index)
{
    if (!isFaceRegion(region))
        return RKFacePosition();

    const QRectF area = readArea(region);
    if (!(area.width() > 0 && area.height() > 0)) {
        qInfo() << "face region ignored as area is not valid, region index:" << index;
        return RKFacePosition();
    }
    const RKRdfStructure extensions = region.structure(kExtensions);
    const RKClusterId clusterId = readClusterId(extensions);
    return RKFacePosition(area,
        RKXmpRegionsPacket::detectionEngineType(clusterId),
        RKFaceId(),
        clusterId,
        readCoverImageEpoch(extensions),
        region.text(kName),
        index);
}

void writeExtensions(RKRdfStructure& extensions, const RKFacePosition& face)
{
    extensions.setText(kClusterId, QString::number(face.clusterId().id()));
    if (face.isCoverImageEpochValid())
        extensions.setText(kCoverImageEpoch, QString::number(face.coverImageEpoch()));
    else
        extensions.removeField(kCoverImageEpoch);
}

/// Writes a face into the region that it matches.
void updateRegion(RKRdfStructure region, const RKFacePosition& face)
{
    region.replaceText(kName, RKXmpRegionsPacket::faceName(face));

    RKRdfStructure area = region.structure(kArea);
    const QPointF center = face.center();
    area.replaceText(kAreaX, numberText(center.x()));
    area.replaceText(kAreaY, numberText(center.y()));
    area.replaceText(kAreaW, numberText(face.rect().width()));
    area.replaceText(kAreaH, numberText(face.rect().height()));
    // Kept: the unit goes under the name that dimensions have, and the area's own one stays. See
    // RKXmpRegionsTest::everySpellingIsUpdatedInPlace.
    if (area.isAttribute(kAreaX))
        area.setText(kDimensionsUnit, kNormalized);
    else
        area.replaceText(kDimensionsUnit, kNormalized);

    RKRdfStructure extensions = region.structure(kExtensions);
    if (extensions.isNull())
        extensions = region.addStructure(kExtensions);
    writeExtensions(extensions, face);
}

void appendFaceRegion(QDomElement& bag, const RKFacePosition& face)
{
    QDomElement region = RKXMLBuilder::buildDomElement(bag, kListItem);
    RKRdfStructure::setParsedAsResource(region);

    QDomElement area = RKXMLBuilder::buildDomElement(region, kArea);
    RKRdfStructure::setParsedAsResource(area);
    const QPointF center = face.center();
    RKXMLBuilder::buildDomElement(area, kAreaX, numberText(center.x()));
    RKXMLBuilder::buildDomElement(area, kAreaY, numberText(center.y()));
    RKXMLBuilder::buildDomElement(area, kAreaW, numberText(face.rect().width()));
    RKXMLBuilder::buildDomElement(area, kAreaH, numberText(face.rect().height()));
    RKXMLBuilder::buildDomElement(area, kAreaUnit, kNormalized);

    RKXMLBuilder::buildDomElement(region, kName, RKXmpRegionsPacket::faceName(face));
    RKXMLBuilder::buildDomElement(region, kType, kFace);

    const QDomElement extensions = RKXMLBuilder::buildDomElement(region, kExtensions);
    RKRdfStructure::setParsedAsResource(extensions);
    RKRdfStructure fields(extensions);
    writeExtensions(fields, face);
}

} // namespace

bool RKXmpRegionsPacket::parseXmpData(const std::string& packet)
{
    RKExiv2Library::initialize();
    RKXmpPacketParser parser;
    const bool parsed = parser.parse(packet);
    m_document = parser.document();
    if (!parsed) {
        qWarning().noquote() << "failed to parse XMP data in line" << parser.errorLine()
                             << ", column" << parser.errorColumn() << ":" << parser.errorMessage();
    }
    return parsed;
}

void RKXmpRegionsPacket::clear()
{
    m_document = QDomDocument();
}

bool RKXmpRegionsPacket::isNull() const
{
    return m_document.isNull();
}

std::string RKXmpRegionsPacket::serialized() const
{
    return RKXmpPacketParser::serialize(m_document);
}

QDomElement RKXmpRegionsPacket::regionsElement() const
{
    const QDomNodeList found = m_document.elementsByTagName(kRegions);
    if (found.count() > 1) {
        qWarning() << "unexpected number of regions nodes:" << found.count();
        return QDomElement();
    }
    return found.item(0).toElement();
}

QDomElement RKXmpRegionsPacket::bag() const
{
    const QDomElement list = RKRdfStructure(regionsElement()).element(kRegionList);
    const QDomElement found = list.firstChildElement(kBag);
    // Some writers keep the order, as DSC_3079.jpg of exiv2's tests shows.
    return found.isNull() ? list.firstChildElement(kSeq) : found;
}

QSize RKXmpRegionsPacket::appliedToSize() const
{
    const RKRdfStructure dimensions = RKRdfStructure(regionsElement()).structure(kAppliedTo);
    if (dimensions.isNull())
        return QSize();

    const QString hText = dimensions.text(kDimensionsH);
    const QString wText = dimensions.text(kDimensionsW);
    const QString unit = dimensions.text(kDimensionsUnit);
    if (unit.compare(kPixel, Qt::CaseInsensitive) != 0) {
        qWarning().noquote() << "unsupported unit:" << unit;
        return QSize();
    }
    bool hOk = false;
    bool wOk = false;
    const int h = toInt(hText, &hOk);
    const int w = toInt(wText, &wOk);
    if (!hOk || !wOk) {
        qWarning().noquote() << "converting to integer failed:" << hText << ", or:" << wText;
        return QSize();
    }
    return QSize(w, h);
}

RKFacePositions RKXmpRegionsPacket::faces() const
{
    RKFacePositions result;
    int index = 0;
    for (QDomElement item = bag().firstChildElement(kListItem); !item.isNull();
         item = item.nextSiblingElement(kListItem))
    {
        if (const RKFacePosition face = facePosition(RKRdfStructure(item), index); face.isValid())
            result.append(face);
        ++index;
    }
    return result;
}

int RKXmpRegionsPacket::regionCount() const
{
    int count = 0;
    for (QDomNode node = bag().firstChild(); !node.isNull(); node = node.nextSibling())
        count += node.isText() ? 0 : 1;
    return count;
}

bool RKXmpRegionsPacket::createRegionsIfMissing()
{
    if (m_document.elementsByTagName(kRegions).isEmpty())
        return createRegions();
    const QDomElement regions = regionsElement();
    if (regions.isNull())
        return false;
    addMissingDeclarations(regions.parentNode().toElement());
    return true;
}

void RKXmpRegionsPacket::removeProperty(const QString& name)
{
    const QDomNodeList descriptions = m_document.elementsByTagName(kDescription);
    for (int i = 0; i < descriptions.count(); ++i)
        RKRdfStructure(descriptions.item(i).toElement()).removeField(name);
}

void RKXmpRegionsPacket::mergeFaces(const QSize& imageSize, const RKFacePositions& newFaces)
{
    RKFacePositions existing = faces();
    if (const QSize xmpSize = appliedToSize(); xmpSize != imageSize) {
        setAppliedToSize(imageSize);
        if (!existing.isEmpty()) {
            qInfo() << "XMP face regions removed as image size is different: XMP image size is"
                    << xmpSize << ", real image size" << imageSize;
            removeFaces();
            existing = RKFacePositions();
        }
    }

    RKFacePositions matched;
    RKFacePositions unmatched;
    for (RKFacePosition face : newFaces.facePositions()) {
        const int index = existing.bestMatch(face, matched.xmpRegionIndices());
        if (index == RKFacePosition::invalidXmpRegionIndex()) {
            unmatched.append(face);
            continue;
        }
        face.setXmpRegionIndex(index);
        if (!face.isCoverImageEpochValid())
            face.setCoverImageEpoch(
                existing.facePositionForXmpRegionIndex(index).coverImageEpoch());
        matched.append(face);
    }
    updateRegions(matched);
    appendRegions(unmatched);
}

bool RKXmpRegionsPacket::removeFaces()
{
    bool removed = false;
    QDomElement regions = bag();
    QDomElement item = regions.firstChildElement(kListItem);
    while (!item.isNull()) {
        const QDomElement next = item.nextSiblingElement(kListItem);
        if (isFaceRegion(RKRdfStructure(item))) {
            regions.removeChild(item);
            removed = true;
        }
        item = next;
    }
    return removed;
}

bool RKXmpRegionsPacket::createRegions()
{
    const QDomNodeList rdf = m_document.elementsByTagName(kRdf);
    if (rdf.count() != 1) {
        qWarning() << "unexpected number of rdf nodes:" << rdf.count();
        return false;
    }
    QDomElement root = rdf.item(0).toElement();
    // All descriptions of one packet are about the same thing.
    const QString about = root.firstChildElement(kDescription).attribute(kAbout);
    QDomElement description = RKXMLBuilder::buildDomElement(root, kDescription);
    description.setAttribute(kAbout, about);
    addMissingDeclarations(description);
    RKRdfStructure::setParsedAsResource(RKXMLBuilder::buildDomElement(description, kRegions));
    return true;
}

void RKXmpRegionsPacket::setAppliedToSize(const QSize& size)
{
    RKRdfStructure regions(regionsElement());
    RKRdfStructure dimensions = regions.structure(kAppliedTo);
    if (dimensions.isNull())
        dimensions = regions.addStructure(kAppliedTo);
    dimensions.setText(kDimensionsW, QString::number(size.width()));
    dimensions.setText(kDimensionsH, QString::number(size.height()));
    dimensions.setText(kDimensionsUnit, kPixel);
}

void RKXmpRegionsPacket::updateRegions(const RKFacePositions& matched)
{
    QHash<int, RKFacePosition> faceOfRegion;
    for (const RKFacePosition& face : matched.facePositions())
        faceOfRegion.insert(face.xmpRegionIndex(), face);

    int index = 0;
    for (QDomElement item = bag().firstChildElement(kListItem); !item.isNull();
         item = item.nextSiblingElement(kListItem))
    {
        if (const RKFacePosition face = faceOfRegion.value(index); face.isValid())
            updateRegion(RKRdfStructure(item), face);
        ++index;
    }
}

void RKXmpRegionsPacket::appendRegions(const RKFacePositions& newFaces)
{
    QDomElement regions;
    for (const RKFacePosition& face : newFaces.facePositions()) {
        if (!face.isValid())
            continue;
        if (regions.isNull())
            regions = bagForWriting();
        appendFaceRegion(regions, face);
    }
}

QDomElement RKXmpRegionsPacket::bagForWriting()
{
    if (const QDomElement existing = bag(); !existing.isNull())
        return existing;
    RKRdfStructure regions(regionsElement());
    QDomElement list = regions.element(kRegionList);
    if (list.isNull())
        list = regions.addElement(kRegionList);
    return RKXMLBuilder::buildDomElement(list, kBag);
}

RKFaceDetectionEngineType RKXmpRegionsPacket::detectionEngineType(const RKClusterId& clusterId)
{
    return clusterId.isValid() ? faceDetectionEngineHPbyXMP : faceDetectionEngineUnknown;
}

bool RKXmpRegionsPacket::isRectNormalized(const QRectF& rect)
{
    return rect.x() < 1.0 && rect.y() < 1.0 && rect.width() < 1.0 && rect.height() < 1.0;
}

int RKXmpRegionsPacket::toInt(const QString& text, bool* ok)
{
    return text.toInt(ok);
}

qint64 RKXmpRegionsPacket::toInt64(const QString& text, bool* ok)
{
    return text.toLongLong(ok);
}

double RKXmpRegionsPacket::toDouble(const QString& text, bool* ok)
{
    bool converted = false;
    const double number = text.toDouble(&converted);
    const bool usable = converted && std::isfinite(number);
    if (ok)
        *ok = usable;
    return usable ? number : 0.0;
}

RKClusterId RKXmpRegionsPacket::toClusterId(const QString& text, bool* ok)
{
    bool converted = false;
    const int id = toInt(text, &converted);
    if (ok)
        *ok = converted;
    return converted ? RKClusterId(id) : RKClusterId();
}

QString RKXmpRegionsPacket::faceName(const RKFacePosition& face)
{
    return face.clusterId().isUnnamedId() ? QString() : RKXmpPacketParser::validText(face.name());
}

#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"

#include <QDebug>
#include <QFileInfo>

#include <algorithm>

namespace {

constexpr char kRegionsKey[] = "Xmp.mwg-rs.Regions";

bool isRegionsKey(const std::string& key)
{
    return key.rfind(kRegionsKey, 0) == 0;
}

} // namespace

bool RKXmpRegions::parseXmpData(const RKExiv2XmpData& data)
{
    std::string packet;
    if (!data.currentPacket(&packet)) {
        clear();
        return false;
    }
    return parseXmpData(packet);
}

bool RKXmpRegions::parseOrKeep(const RKExiv2XmpData* data)
{
    return !data || (data->mayHaveRegions() && parseXmpData(*data));
}

bool RKXmpRegions::storeInto(RKExiv2XmpData* data) const
{
    return data->setXmpPacket(serialized());
}

RKFacePositions RKXmpRegions::facePositionsByXMP(const RKExiv2XmpData* data)
{
    return parseOrKeep(data) ? faces() : RKFacePositions();
}

QSize RKXmpRegions::appliedToImageSize(const RKExiv2XmpData* data)
{
    return parseOrKeep(data) ? appliedToSize() : QSize();
}

int RKXmpRegions::numberOfRegions(const RKExiv2XmpData& data)
{
    return data.mayHaveRegions() && parseXmpData(data) ? regionCount() : 0;
}

bool RKXmpRegions::expandFaces(
    RKExiv2XmpData* data, const QSize& imageSize, const RKFacePositions& newFaces)
{
    if (!data || imageSize.width() < 0 || imageSize.height() < 0 || newFaces.isEmpty())
        return false;
    if (!parseXmpData(*data) || !createInitialXmpDataIfNeccessary())
        return false;

    mergeFaces(imageSize, newFaces);
    return storeInto(data);
}

bool RKXmpRegions::removeFaceRegions(RKExiv2XmpData* data)
{
    if (!data || !parseXmpData(*data))
        return false;
    return !removeFaces() || storeInto(data);
}

bool RKXmpRegions::createInitialXmpDataIfNeccessary()
{
    return (!isNull() || createInitialXmpData()) && createRegionsIfMissing();
}

bool RKXmpRegions::createInitialXmpData()
{
    RKExiv2XmpData data;
    data.setString("Xmp.dc.tamoDummy", QStringLiteral("dummy"));
    std::string packet;
    if (!data.currentPacket(&packet) || packet.empty()) {
        qWarning() << "failed to serialize initial XMP data";
        return false;
    }
    if (!parseXmpData(packet))
        return false;
    // It has served to get a packet at all, and is no property of the image.
    removeProperty(QStringLiteral("dc:tamoDummy"));
    return true;
}

void RKXmpRegions::stripRegions(Exiv2::XmpData& data)
{
    Exiv2::XmpData kept;
    for (const Exiv2::Xmpdatum& datum : data) {
        if (!isRegionsKey(datum.key()))
            kept.add(datum);
    }
    data = kept;
}

bool RKXmpRegions::containsXmpData(const Exiv2::XmpData& data)
{
    return std::any_of(data.begin(), data.end(), [](const Exiv2::Xmpdatum& datum) {
        return isRegionsKey(datum.key());
    });
}

bool RKXmpRegions::writeXmpData(const RKExiv2XmpData& data, const QFileInfo& file)
{
    std::string packet;
    if (!data.currentPacket(&packet))
        return false;
    RKSafeFileWriter writer(file.absoluteFilePath());
    if (writer.write(QByteArray::fromStdString(packet)) == RKSafeFileWriter::Result::Done)
        return true;
    qWarning().noquote() << "failed to write XMP data to" << file.absoluteFilePath() << ":"
                         << writer.errorString();
    return false;
}

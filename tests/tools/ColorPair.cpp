// ColorPair IN FOLDER: decodes a picture and writes its pixels as the decoder gives them
// (stored.rgb) and as the loader converts them (converted.rgb), 8 bits red, green and blue, with
// the profile that they have (profile.icc). Prints width, height and whether it was converted.

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>

namespace {

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("can't write %s", qPrintable(path));
}

QByteArray pixels(const QImage& image)
{
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    QByteArray bytes;
    for (int y = 0; y < rgb.height(); ++y)
        bytes.append(reinterpret_cast<const char*>(rgb.constScanLine(y)), 3 * rgb.width());
    return bytes;
}

QByteArray profileOf(const RKMetaData& metaData)
{
    QFile adobeRgb(QStringLiteral(":compatibleWithAdobeRGB1998.icc"));
    if (metaData.iccData().isEmpty() && metaData.isAdobeRGB() && adobeRgb.open(QIODevice::ReadOnly))
        return adobeRgb.readAll();
    return metaData.iccData();
}

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    if (argc != 3)
        return 2;
    const QDir folder(QFile::decodeName(argv[2]));
    const RKMediaDescriptor file{QFileInfo(QFile::decodeName(argv[1]))};
    const RKImageLoader& loader = *RKImageLoader::instance();
    const RKDrawable stored = loader.tryAllDecoders(
        loader.readBinaryFile(file.fileInfo()), file.fileFormatAsByteArray(), QSize(), file);
    if (stored.isNull())
        return 1;
    const RKMetaData metaData = loader.copyMetaData(file);
    bool isConverted = false;
    loader.colorProfileConverter()->convert(stored.image(), metaData, &isConverted);
    write(folder.filePath(QStringLiteral("stored.rgb")), pixels(stored.image()));
    write(folder.filePath(QStringLiteral("converted.rgb")),
        pixels(loader.convertColorProfile(file, stored).image()));
    write(folder.filePath(QStringLiteral("profile.icc")), profileOf(metaData));
    std::printf("%d %d %d\n", stored.size().width(), stored.size().height(), int(isConverted));
    return 0;
}

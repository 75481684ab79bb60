// The XML documents that hosts give: a configuration, and positions of faces, which read back as
// they are written.
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include <QDomDocument>
#include <QTemporaryFile>

namespace {

void readConfiguration(const QByteArray& text)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        qFatal("no temporary file");
    if (!file.resize(0) || !file.seek(0) || file.write(text) != text.size() || !file.flush())
        qFatal("can't write the temporary file");
    RKImageLoaderConfig::setConfigFile(QFileInfo(file.fileName()));
    const RKImageLoaderConfig config;
    if (config.jpgQuality() < 0 || config.jpgQuality() > 100)
        qFatal("no quality");
    config.scalingMinFactor();
}

QDomElement written(const RKFacePositions& faces, QDomDocument& document)
{
    QDomElement root = document.createElement(QStringLiteral("faces"));
    document.appendChild(root);
    faces.toXml(root);
    return root;
}

void readFaces(const QByteArray& text)
{
    QDomDocument document;
    if (!document.setContent(text))
        return;
    const RKFacePositions faces(document.documentElement());
    QDomDocument first;
    const RKFacePositions again(written(faces, first));
    QDomDocument second;
    written(again, second);
    if (first.toByteArray() != second.toByteArray())
        qFatal("faces change when they are written and read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const QByteArray text = quietInput(bytes, size);
    readConfiguration(text);
    readFaces(text);
    const RKMediaFormatList formats(text.split(','));
    if (formats.size() > text.count(',') + 1)
        qFatal("more formats than entries");
    formats.createFileFilterString();
    return 0;
}

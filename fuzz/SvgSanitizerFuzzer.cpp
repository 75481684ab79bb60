// What comes out of the sanitizer is well-formed, refers to nothing outside, and stays as it is
// when it is sanitized again.
#include "Fuzzing.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"

#include <QXmlStreamReader>

namespace {

void checkReferences(const QByteArray& document)
{
    QXmlStreamReader reader(document);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::DTD)
            qFatal("document type: %s", document.constData());
        const QXmlStreamAttributes attributes = reader.attributes();
        for (const QXmlStreamAttribute& attribute : attributes) {
            const QStringView value = attribute.value();
            if (attribute.name().compare(QLatin1String("href"), Qt::CaseInsensitive) == 0
                && !value.startsWith(u'#') && !value.startsWith(QLatin1String("data:")))
                qFatal("outside reference: %s", document.constData());
        }
    }
    if (reader.hasError())
        qFatal("not well-formed: %s", document.constData());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray document = RKSvgSanitizer::sanitized(quietInput(data, size));
    if (document.isEmpty())
        return 0;
    checkReferences(document);
    if (RKSvgSanitizer::sanitized(document) != document)
        qFatal("changed by the second time: %s", document.constData());
    return 0;
}

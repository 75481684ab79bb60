// What comes out of the sanitizer is well-formed, refers to nothing outside, and stays as it is
// when it is sanitized again.
#include "RKImageLoader/drawables/RKSvgSanitizer_p.h"

#include <QLoggingCategory>
#include <QXmlStreamReader>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char* problem, const QByteArray& document)
{
    std::fprintf(stderr, "%s:\n%s\n", problem, document.constData());
    std::abort();
}

void checkReferences(const QByteArray& document)
{
    QXmlStreamReader reader(document);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::DTD)
            fail("document type", document);
        const QXmlStreamAttributes attributes = reader.attributes();
        for (const QXmlStreamAttribute& attribute : attributes) {
            const QStringView value = attribute.value();
            if (attribute.name().compare(QLatin1String("href"), Qt::CaseInsensitive) == 0
                && !value.startsWith(u'#') && !value.startsWith(QLatin1String("data:")))
                fail("outside reference", document);
        }
    }
    if (reader.hasError())
        fail("not well-formed", document);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isSilent = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
        return true;
    }();
    Q_UNUSED(isSilent)

    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    const QByteArray document = RKSvgSanitizer::sanitized(input);
    if (document.isEmpty())
        return 0;
    checkReferences(document);
    if (RKSvgSanitizer::sanitized(document) != document)
        fail("changed by the second time", document);
    return 0;
}

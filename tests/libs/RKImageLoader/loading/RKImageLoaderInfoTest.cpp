#include "RKImageLoader/loading/RKImageLoaderInfo.h"

#include "support/RKQuietTest.h"

using namespace Qt::StringLiterals;

/// What is said of the libraries of others.
class RKImageLoaderInfoTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void librariesAreAskedForTheirVersions()
    {
        // The codecs of the plug-ins can't be asked without loading these.
        const QStringList silent{u"libheif"_s, u"OpenJPEG"_s};
        static const QRegularExpression number(u"^n?[0-9]+\\.[0-9]+"_s);
        QStringList names;
        for (const RKThirdParty& library : RKImageLoaderInfo().thirdParties()) {
            names << library.name;
            QVERIFY2(silent.contains(library.name) || number.match(library.version).hasMatch(),
                qPrintable(library.name + library.version));
            QVERIFY(!library.license.isEmpty() && library.homepage.startsWith(u"https://"));
            if (library.name == u"FFmpeg")
                QVERIFY2(library.license.contains(u"GPL"), qPrintable(library.license));
        }
        for (const auto* name : {"Qt", "exiv2", "Little CMS", "libtiff", "libwebp", "zlib"})
            QVERIFY2(names.contains(QLatin1String(name)), name);
        QCOMPARE(names.removeDuplicates(), 0);
    }
};

QTEST_GUILESS_MAIN(RKImageLoaderInfoTest)

#include "RKImageLoaderInfoTest.moc"

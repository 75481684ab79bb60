#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"

#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"
#include "support/RKQuietTest.h"

using namespace Qt::StringLiterals;

namespace {

QString names(const QList<RKBitmapDecoder*>& decoders)
{
    QStringList names;
    for (const RKBitmapDecoder* decoder : decoders)
        names += decoder->name();
    return names.join(u' ');
}

} // namespace

/// The lists of decoders and formats, and the base class's helpers.
class RKBitmapDecoderRegistryTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void listsBelongToTheRegistryAndStay()
    {
        RKBitmapDecoderQt decoder;
        const RKBitmapDecoderRegistry registry;
        // Kept: a question before the first list of formats adds its format, but not the unknown.
        QList<RKBitmapDecoder*>& list = registry.listOfDecoders(MEDIA_FORMAT_JP2);
        QVERIFY(list.isEmpty() && registry.listOfDecoders(MEDIA_FORMAT_UNKNOWN).isEmpty());
        QCOMPARE(registry.supportedMediaFormats(), RKMediaFormatList({MEDIA_FORMAT_JP2}));
        list.append(&decoder);
        QVERIFY(registry.listOfDecoders(MEDIA_FORMAT_BMP).isEmpty());
        QCOMPARE(registry.supportedMediaFormats(), RKMediaFormatList({MEDIA_FORMAT_JP2}));
        QCOMPARE(registry.primaryDecoder(MEDIA_FORMAT_JP2), &decoder);
    }

    void processKnowsTheFormatsOfAllDecoders()
    {
        const RKBitmapDecoderRegistry* const registry = RKBitmapDecoderRegistry::instance();
#ifdef Q_OS_MACOS
        const auto platform = u"macOS CoreGraphics"_s;
#else
        const auto platform = u"LibRaw"_s;
#endif
        // Qt's own formats, those of its usual plug-ins and the platform's, in the order of their
        // values.
        const QStringList expected = u"bmp webp gif ico jpg mng pgm png tiff xbm xpm svg crw cr2 "
                                     "arw nef raf dng rw2 psd"_s.split(u' ');
        QStringList found;
        for (const RKMediaFormat& format : registry->supportedMediaFormats()) {
            if (!expected.contains(format.defaultExtension()))
                continue;
            found << format.defaultExtension();
            const bool isPlatforms = format.isRaw() || format == MEDIA_FORMAT_PSD;
            const QString other = format.isSVG() ? u"SVG"_s : u"Qt"_s;
            QCOMPARE(names(registry->listOfDecoders(format)), isPlatforms ? platform : other);
        }
        QCOMPARE(found, expected);
    }

    void questionsAboutOneFormatAgreeWithTheLists()
    {
        RKBitmapDecoderRegistry asked;
        asked.setupInstance();
        RKBitmapDecoderRegistry listing;
        listing.setupInstance();
        const RKMediaFormatList readable = listing.supportedMediaFormats();
        const RKMediaFormatList writable = listing.writableImageFileFormats();
        for (int bit = 0; bit < 46; ++bit) {
            const RKMediaFormat format(RKMediaFormatEnum(1LL << bit));
            QCOMPARE(asked.isReadable(format), readable.contains(format));
            QCOMPARE(asked.isWritable(format), writable.contains(format));
        }
        QVERIFY(!asked.isReadable(MEDIA_FORMAT_UNKNOWN));
        QCOMPARE(asked.supportedMediaFormats(), readable);
    }

    void realTargetSizeFits()
    {
        const auto fitted = RKBitmapDecoder::calculateRealTargetSize;
        QCOMPARE(fitted({800, 800}, {400, 200}), QSize(800, 400));
        QCOMPARE(fitted({10, 10}, {1, 1000}), QSize(1, 10));
        QCOMPARE(fitted({100, 100}, {1000, 7}), QSize(100, 1));
        QCOMPARE(fitted({400, 300}, {3999, 3001}), QSize(399, 300)); // cut, not rounded
        QCOMPARE(fitted({0, 0}, {0, 0}), QSize(1, 1));
    }
};

QTEST_MAIN(RKBitmapDecoderRegistryTest)

#include "RKBitmapDecoderRegistryTest.moc"

#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"

#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "support/RKChildProcess.h"
#include "support/RKTestPictures.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <thread>
#include <vector>

namespace {

// A decoder of any formats that does nothing else.
class NamedDecoder : public RKBitmapDecoder
{
public:
    NamedDecoder(const char* name, const RKMediaFormatList& read, const RKMediaFormatList& written)
        : m_name(QString::fromLatin1(name))
        , m_read(read)
        , m_written(written)
    {
    }

    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override
    {
        return m_read;
    }

    RKMediaFormatList writableImageFileFormats() const override
    {
        return m_written;
    }

    QImage decode(
        const QByteArray&, const QByteArray&, const QSize&, const RKMediaDescriptor&) const override
    {
        return RKTestPictures::quadrants({4, 4});
    }

    bool save(const QFileInfo&, const RKDrawable& drawable) const override
    {
        return drawable.size() == QSize(4, 4);
    }

    bool save(QIODevice*, const RKMediaFormat&, const QImage&) const override
    {
        return false;
    }

    bool save(QIODevice*, const RKMediaFormat&, const RKDrawable&) const override
    {
        return false;
    }

    QSize size(QIODevice*, const QByteArray&) const override
    {
        return {};
    }

    QSize size(const QByteArray&, const QByteArray&) const override
    {
        return {};
    }

    QSize size(const QFileInfo&, const QByteArray&) const override
    {
        return {};
    }

    QString name() const override
    {
        return m_name;
    }

private:
    QString m_name;
    RKMediaFormatList m_read;
    RKMediaFormatList m_written;
};

class TestRegistry : public RKBitmapDecoderRegistry
{
public:
    QList<RKBitmapDecoder*> createDecoderList() const override
    {
        const RKMediaFormatList unknown{RKMediaFormat()};
        return {new NamedDecoder("first", {MEDIA_FORMAT_PNG, MEDIA_FORMAT_BMP}, {MEDIA_FORMAT_PNG}),
            new NamedDecoder("second", {MEDIA_FORMAT_PNG}, unknown),
            new NamedDecoder("third", unknown, {MEDIA_FORMAT_TIFF, MEDIA_FORMAT_PNG})};
    }
};

QStringList names(const QList<RKBitmapDecoder*>& decoders)
{
    QStringList names;
    for (const RKBitmapDecoder* decoder : decoders)
        names += decoder->name();
    return names;
}

} // namespace

/// The order of decoders, the lists of formats, and the base class's helpers.
class RKBitmapDecoderRegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void decodersAreListedInTheirOrder();
    void supportedFormatsAreKeptAfterTheFirstQuestion();
    void listsBelongToTheRegistryAndStay();
    void severalThreadsAsk();
    void processKnowsTheFormatsOfAllDecoders();
    void missingPrimaryEndsTheProcess_data();
    void missingPrimaryEndsTheProcess();

    void bitmapsBecomeDrawablesAndBack();
    void realTargetSize_data();
    void realTargetSize();
    void jpegSignatureHasThreeBytes();
    void filesAreReadWhole();
};

void RKBitmapDecoderRegistryTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKBitmapDecoderRegistryTest::decodersAreListedInTheirOrder()
{
    QTest::ignoreMessage(QtWarningMsg, "A Decoder is trying to add MEDIA_FORMAT_UNKNOWN second");
    QTest::ignoreMessage(QtWarningMsg, "A Decoder is trying to add MEDIA_FORMAT_UNKNOWN third");
    TestRegistry registry;
    registry.setupInstance();

    QCOMPARE(names(registry.listOfDecoders(MEDIA_FORMAT_PNG)),
        QStringList({QStringLiteral("first"), QStringLiteral("second")}));
    QCOMPARE(names(registry.listOfEncoders(MEDIA_FORMAT_PNG)),
        QStringList({QStringLiteral("first"), QStringLiteral("third")}));
    QCOMPARE(registry.primaryDecoder(MEDIA_FORMAT_PNG)->name(), QStringLiteral("first"));
    QCOMPARE(registry.primaryEncoder(MEDIA_FORMAT_TIFF)->name(), QStringLiteral("third"));
    QCOMPARE(
        registry.supportedMediaFormats(), RKMediaFormatList({MEDIA_FORMAT_BMP, MEDIA_FORMAT_PNG}));
    QCOMPARE(registry.writableImageFileFormats(),
        RKMediaFormatList({MEDIA_FORMAT_PNG, MEDIA_FORMAT_TIFF}));
}

void RKBitmapDecoderRegistryTest::supportedFormatsAreKeptAfterTheFirstQuestion()
{
    const RKBitmapDecoderRegistry registry;
    // Kept: a question before the first list of formats adds its format.
    QVERIFY(registry.listOfDecoders(MEDIA_FORMAT_JP2).isEmpty());
    QVERIFY(registry.listOfDecoders(MEDIA_FORMAT_UNKNOWN).isEmpty());
    QCOMPARE(registry.supportedMediaFormats(), RKMediaFormatList({MEDIA_FORMAT_JP2}));
    QVERIFY(registry.listOfDecoders(MEDIA_FORMAT_HDP).isEmpty());
    QCOMPARE(registry.supportedMediaFormats(), RKMediaFormatList({MEDIA_FORMAT_JP2}));
    QVERIFY(registry.writableImageFileFormats().isEmpty());
}

void RKBitmapDecoderRegistryTest::listsBelongToTheRegistryAndStay()
{
    NamedDecoder decoder("added", {}, {});
    const RKBitmapDecoderRegistry registry;
    QList<RKBitmapDecoder*>& list = registry.listOfDecoders(MEDIA_FORMAT_JP2);
    list.append(&decoder);
    registry.listOfDecoders(MEDIA_FORMAT_BMP);
    registry.listOfDecoders(MEDIA_FORMAT_PSD);
    QCOMPARE(&registry.listOfDecoders(MEDIA_FORMAT_JP2), &list);
    QCOMPARE(registry.primaryDecoder(MEDIA_FORMAT_JP2), &decoder);
}

void RKBitmapDecoderRegistryTest::severalThreadsAsk()
{
    const RKBitmapDecoderRegistry registry;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&registry] {
            for (qint64 bit = 2; bit <= MEDIA_FORMAT_PSD; bit *= 2) {
                registry.listOfDecoders(RKMediaFormatEnum(bit));
                registry.supportedMediaFormats();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(registry.listOfDecoders(MEDIA_FORMAT_PSD).isEmpty());
    // The first answer came after the first question.
    QVERIFY(registry.supportedMediaFormats().contains(MEDIA_FORMAT_BMP));
}

void RKBitmapDecoderRegistryTest::processKnowsTheFormatsOfAllDecoders()
{
    const RKBitmapDecoderRegistry* const registry = RKBitmapDecoderRegistry::instance();
    const RKMediaFormatList formats = registry->supportedMediaFormats();
    // Qt's own formats, those of its usual plug-ins and the platform's, in the order of their
    // values.
    const RKMediaFormatList expected{MEDIA_FORMAT_BMP,
        MEDIA_FORMAT_WEBP,
        MEDIA_FORMAT_GIF,
        MEDIA_FORMAT_ICO,
        MEDIA_FORMAT_JPG,
        MEDIA_FORMAT_MNG,
        MEDIA_FORMAT_PGM,
        MEDIA_FORMAT_PNG,
        MEDIA_FORMAT_TIFF,
        MEDIA_FORMAT_XBM,
        MEDIA_FORMAT_XPM,
        MEDIA_FORMAT_SVG,
        MEDIA_FORMAT_CRW,
        MEDIA_FORMAT_CR2,
        MEDIA_FORMAT_ARW,
        MEDIA_FORMAT_NEF,
        MEDIA_FORMAT_RAF,
        MEDIA_FORMAT_DNG,
        MEDIA_FORMAT_RW2,
        MEDIA_FORMAT_PSD};
#ifdef Q_OS_MACOS
    const auto platform = QStringLiteral("macOS CoreGraphics");
#else
    const auto platform = QStringLiteral("LibRaw");
#endif
    qsizetype previous = -1;
    for (const RKMediaFormat& format : expected) {
        const qsizetype index = formats.indexOf(format);
        QVERIFY2(index > previous, qPrintable(format.defaultExtension()));
        previous = index;
        const bool isPlatforms = format.isRaw() || format == MEDIA_FORMAT_PSD;
        const QString other = format.isSVG() ? QStringLiteral("SVG") : QStringLiteral("Qt");
        QCOMPARE(
            names(registry->listOfDecoders(format)), QStringList(isPlatforms ? platform : other));
    }
    QVERIFY(!formats.contains(MEDIA_FORMAT_UNKNOWN));

    const RKMediaFormatList writable = registry->writableImageFileFormats();
    for (const RKMediaFormatEnum format :
        {MEDIA_FORMAT_BMP, MEDIA_FORMAT_ICO, MEDIA_FORMAT_JPG, MEDIA_FORMAT_PNG, MEDIA_FORMAT_TIFF})
        QVERIFY(writable.contains(format));
    for (const RKMediaFormatEnum format : {MEDIA_FORMAT_WEBP,
             MEDIA_FORMAT_PGM,
             MEDIA_FORMAT_XPM,
             MEDIA_FORMAT_SVG,
             MEDIA_FORMAT_HEIC})
        QVERIFY(!writable.contains(format));
}

void RKBitmapDecoderRegistryTest::missingPrimaryEndsTheProcess_data()
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<QString>("warning");

    QTest::newRow("decoder") << QStringLiteral("decoder")
                             << QStringLiteral("Kein BitmapDecoder für Format mp4");
    QTest::newRow("encoder") << QStringLiteral("encoder")
                             << QStringLiteral("Kein BitmapEncoder für Format mp4");
}

void RKBitmapDecoderRegistryTest::missingPrimaryEndsTheProcess()
{
    QFETCH(QString, role);
    QFETCH(QString, warning);

    const RKChildProcess::Result result = RKChildProcess::run(role);
    QVERIFY(result.crashed);
    QVERIFY2(result.messages.contains(warning), qPrintable(result.messages));
    QVERIFY2(result.messages.contains(QStringLiteral("Programmende")), qPrintable(result.messages));
}

void RKBitmapDecoderRegistryTest::bitmapsBecomeDrawablesAndBack()
{
    const NamedDecoder decoder("any", {}, {});
    const RKDrawable drawable = decoder.decodeDrawable({}, "png", {}, {});
    QVERIFY(drawable.isBitmap());
    QCOMPARE(drawable.image(), RKTestPictures::quadrants({4, 4}));
    QVERIFY(decoder.save(QFileInfo(), RKTestPictures::quadrants({4, 4})));
}

void RKBitmapDecoderRegistryTest::realTargetSize_data()
{
    QTest::addColumn<QSize>("target");
    QTest::addColumn<QSize>("image");
    QTest::addColumn<QSize>("expected");

    QTest::newRow("smaller") << QSize(100, 100) << QSize(400, 200) << QSize(100, 50);
    QTest::newRow("larger") << QSize(800, 800) << QSize(400, 200) << QSize(800, 400);
    QTest::newRow("equal") << QSize(400, 200) << QSize(400, 200) << QSize(400, 200);
    QTest::newRow("narrow") << QSize(10, 10) << QSize(1, 1000) << QSize(1, 10);
    QTest::newRow("flat") << QSize(100, 100) << QSize(1000, 7) << QSize(100, 1);
    QTest::newRow("cut, not rounded") << QSize(400, 300) << QSize(3999, 3001) << QSize(399, 300);
    QTest::newRow("equal and empty") << QSize(0, 0) << QSize(0, 0) << QSize(1, 1);
    QTest::newRow("no image") << QSize(10, 10) << QSize(0, 0) << QSize(10, 10);
}

void RKBitmapDecoderRegistryTest::realTargetSize()
{
    QFETCH(QSize, target);
    QFETCH(QSize, image);
    QFETCH(QSize, expected);
    QCOMPARE(RKBitmapDecoder::calculateRealTargetSize(target, image), expected);
}

void RKBitmapDecoderRegistryTest::jpegSignatureHasThreeBytes()
{
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QByteArray()));
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QByteArray("\xff\xd8")));
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QByteArray("\xff\xd8\xfe")));
    QVERIFY(RKBitmapDecoder::startsWithJpegSignature(QByteArray("\xff\xd8\xff")));

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.jpg"));
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QFileInfo(path)));
    RKTestPictures::write(path, "\xff\xd8\xff\xe0");
    QVERIFY(RKBitmapDecoder::startsWithJpegSignature(QFileInfo(path)));
    RKTestPictures::write(path, "\xff\xd8");
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QFileInfo(path)));
    const QString pipe = folder.filePath(QStringLiteral("pipe.jpg"));
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
    QVERIFY(!RKBitmapDecoder::startsWithJpegSignature(QFileInfo(pipe)));
}

void RKBitmapDecoderRegistryTest::filesAreReadWhole()
{
    const NamedDecoder decoder("any", {}, {});
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.bin"));
    const QByteArray bytes("a\0b", 3);
    RKTestPictures::write(path, bytes);
    QCOMPARE(decoder.readBinaryFile(QFileInfo(path)), bytes);

    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral("^Konnte Datei nicht öffnen: /.*/missing \\S.*$")));
    QVERIFY(decoder.readBinaryFile(QFileInfo(folder.filePath(QStringLiteral("missing")))).isNull());
}

int main(int argc, char** argv)
{
    const QByteArray role = RKChildProcess::role();
    if (role == "decoder")
        RKBitmapDecoderRegistry::instance()->primaryDecoder(MEDIA_FORMAT_MP4);
    if (role == "encoder")
        RKBitmapDecoderRegistry::instance()->primaryEncoder(MEDIA_FORMAT_MP4);
    if (!role.isEmpty())
        return 0;

    const QGuiApplication application(argc, argv);
    RKBitmapDecoderRegistryTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKBitmapDecoderRegistryTest.moc"

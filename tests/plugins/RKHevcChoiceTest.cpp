#include "imageformats/heif/RKHevcChoice.h"

#include "RKPluginReading.h"

#include <QDir>
#include <QtPlugin>

#include <libheif/heif.h>

Q_IMPORT_PLUGIN(RKHeifPlugin)

using Decoder = RKHevcChoice::Decoder;

namespace {

// As any program decodes a file with libheif. Null where it is refused.
QImage decoded(const QByteArray& file)
{
    QImage result;
    heif_context* const context = heif_context_alloc();
    heif_image_handle* handle = nullptr;
    heif_image* image = nullptr;
    heif_context_read_from_memory_without_copy(
        context, file.constData(), size_t(file.size()), nullptr);
    heif_context_get_primary_image_handle(context, &handle);
    if (handle)
        heif_decode_image(
            handle, &image, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, nullptr);
    if (image) {
        int stride = 0;
        const uchar* const pixels
            = heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
        result = QImage(pixels,
            heif_image_get_primary_width(image),
            heif_image_get_primary_height(image),
            stride,
            QImage::Format_RGBA8888)
                     .copy();
    }
    heif_image_release(image);
    heif_image_handle_release(handle);
    heif_context_free(context);
    return result;
}

QImage decoded(const QByteArray& file, Decoder decoder)
{
    const RKHevcChoice choice(decoder);
    return decoded(file);
}

} // namespace

class RKHevcChoiceTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!RKHevcChoice::hasLibavcodec())
            QSKIP("libavcodec is missing");
    }

    void pixelsAreTheSame()
    {
        const QFileInfoList files
            = QDir(QStringLiteral(RK_CORPORA "/Heif")).entryInfoList(QDir::Files);
        QVERIFY(!files.isEmpty());
        for (const QFileInfo& info : files) {
            const QByteArray file = RKTestPictures::read(info.filePath());
            const QImage expected = decoded(file);
            QVERIFY(!expected.isNull());
            for (const Decoder decoder :
                {Decoder::Libheif, Decoder::Libavcodec, Decoder::LibavcodecInThreads})
                QCOMPARE(decoded(file, decoder), expected);
        }
    }

    // Damage that libavcodec notices leaves the picture as libheif's own decoder makes it, if it
    // does. What other code gets never changes.
    void noticedDamageIsLeftToLibheif()
    {
        const QByteArray file
            = RKTestPictures::read(QStringLiteral(RK_TEST_DATA "/heif/quadrants.heic"));
        int noticed = 0;
        for (qsizetype at = file.indexOf("mdat") + 4; at < file.size(); ++at) {
            QByteArray damaged = file;
            damaged[at] = char(~damaged[at]);
            const QImage expected = decoded(damaged);
            const QImage ours = decoded(damaged, Decoder::Libavcodec);
            const QImage read = RKPluginReading::read(damaged);
            QCOMPARE(RKPluginReading::read(damaged, {64, 32}).isNull(), read.isNull());
            if (expected.isNull())
                QVERIFY(ours.isNull() && read.isNull());
            if (!ours.isNull() || read.isNull())
                continue;
            ++noticed;
            QCOMPARE(read, expected.convertToFormat(QImage::Format_RGB32));
            QCOMPARE(decoded(damaged), expected);
        }
        QVERIFY(noticed > 0);
    }
};

QTEST_GUILESS_MAIN(RKHevcChoiceTest)
#include "RKHevcChoiceTest.moc"

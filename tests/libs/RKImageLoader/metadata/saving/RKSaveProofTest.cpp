#include "RKImageLoader/metadata/saving/RKSaveProof_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"

#include <QReadWriteLock>

using namespace RKMetadataFixtures;

namespace {

RKImageContent contentOf(const QByteArray& file)
{
    return RKImageContent(std::make_shared<RKMemorySource>(file));
}

} // namespace

/// Savers are right as far as other tests can tell; here, what they save is damaged.
class RKSaveProofTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void damageBesideAChangeIsFound_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QByteArray>("changed");
        for (const char* format : {"JPG", "TIFF"}) {
            for (const char* changed : {"artist", "lensname", "cityname", "original"})
                QTest::addRow("%s %s", format, changed)
                    << QByteArray(format) << QByteArray(changed);
        }
    }

    void damageBesideAChangeIsFound()
    {
        QFETCH(QByteArray, format);
        QFETCH(QByteArray, changed);
        const auto set = [](auto& exif, auto& iptc, auto& xmp, const QByteArray& other) {
            const auto text = [&](const char* old) {
                return other == old ? std::string(other.size(), 'x') : std::string(old);
            };
            exif["Exif.Image.Artist"] = text("artist");
            exif["Exif.Photo.LensModel"] = text("lensname");
            exif["Exif.Thumbnail.Software"] = text("reducer");
            iptc["Iptc.Application2.City"] = text("cityname");
            iptc["Iptc.Application2.Headline"] = text("headline");
            xmp["Xmp.dc.source"] = text("original");
            xmp["Xmp.xmp.Label"] = text("labelled");
        };
        const QByteArray file = withMetadata(imageFile(format), [&](Exiv2::Image& image) {
            set(image.exifData(), image.iptcData(), image.xmpData(), {});
        });
        const QWriteLocker lock(RKExiv2Library::xmpLock());
        const RKImageContent content = contentOf(file);
        const RKExiv2ImagePtr image = open(file);
        const RKImageFamilies before = RKImageFamilies::of(*image);
        RKImageFileUpdate::Wanted wanted{before, {}, {}, {48, 32}};
        set(wanted.families.exif, wanted.families.iptc, wanted.families.xmp, changed);
        const QByteArray packet = file.mid(file.indexOf("<?xpacket begin"));
        wanted.xmpPacket = packet.first(packet.indexOf("<?xpacket end") + 19)
                               .replace(changed, QByteArray(changed.size(), 'x'))
                               .toStdString();
        const RKImageFileUpdate update(content, before, wanted);
        const RKSaveProof proof(content, wanted, update.changes());
        const auto edited = update.edited();
        QVERIFY(edited);
        const QByteArray saved = edited->file();
        QCOMPARE(proof.loss(contentOf(saved)), QString());

        QVERIFY(!proof.loss(contentOf(file)).isEmpty());
        for (const char* text :
            {"artist", "lensname", "reducer", "cityname", "headline", "original", "labelled"})
        {
            QByteArray damaged = saved;
            damaged.replace(text, QByteArray(text).toUpper());
            QCOMPARE(damaged == saved, changed == text);
            QVERIFY2(changed == text || !proof.loss(contentOf(damaged)).isEmpty(), text);
        }
        QByteArray damaged = saved;
        const qsizetype pixel = format == "JPG" ? saved.size() - 9 : 99;
        damaged[pixel] = char(damaged[pixel] ^ 4);
        QVERIFY(!proof.loss(contentOf(damaged)).isEmpty());
    }
};

QTEST_GUILESS_MAIN(RKSaveProofTest)

#include "RKSaveProofTest.moc"

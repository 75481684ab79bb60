#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QTest>

class RKMetaDataFieldTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void kindFollowsTheValue();
    void keywordsAreDecoded();
    void keysAreInOrderOfPrecedence();
};

void RKMetaDataFieldTest::kindFollowsTheValue()
{
    const QList<qint64> texts{1, 2, 4, 8, 16, 32, 256, 512, 1024};
    const QList<qint64> arcs{4096, 8192};
    for (qint64 bit = 1; bit <= 16384; bit *= 2) {
        const RKMetaDataField field{RKMetaDataFieldEnum(bit)};
        QCOMPARE(field.isStringValueField(), texts.contains(bit));
        QCOMPARE(field.isGeoPositionArcField(), arcs.contains(bit));
    }
    QVERIFY(!RKMetaDataField().isStringValueField() && !RKMetaDataField().isValid());
    const RKMetaDataField combined{RKMetaDataFieldEnum(1 | 4)};
    QVERIFY(!combined.isStringValueField());
}

void RKMetaDataFieldTest::keywordsAreDecoded()
{
    const auto* table = RKMetaDataField().enumToStringTable();
    for (qint64 bit = 1; bit <= 8192; bit *= 2) {
        const auto value = RKMetaDataFieldEnum(bit);
        const QString keyword = table->keyword(value);
        QVERIFY(!keyword.isEmpty());
        const bool endsInBlank = value == RKMetaDataFieldEnum::exifImageDescription;
        QCOMPARE(keyword.endsWith(u' '), endsInBlank);
        QCOMPARE(RKMetaDataField(keyword) == value, !endsInBlank);
    }
    QVERIFY(RKMetaDataField(QStringLiteral(" EXIFMODEL ")) == RKMetaDataFieldEnum::exifModel);
    QVERIFY(!RKMetaDataField(QString()).isValid());
    QVERIFY(!RKMetaDataField(QStringLiteral("title")).isValid());
}

void RKMetaDataFieldTest::keysAreInOrderOfPrecedence()
{
    QCOMPARE(RKMetaDataField(RKMetaDataFieldEnum::author).exiv2Keys(),
        QStringList({QStringLiteral("Exif.Image.Artist"),
            QStringLiteral("Exif.Image.XPAuthor"),
            QStringLiteral("Iptc.Application2.Byline")}));
    QCOMPARE(RKMetaDataField(RKMetaDataFieldEnum::originalFilename).exiv2Keys().constFirst(),
        QStringLiteral("Iptc.Application2.Caption"));
    QVERIFY(RKMetaDataField(RKMetaDataFieldEnum::rating).exiv2Keys().isEmpty());
}

QTEST_APPLESS_MAIN(RKMetaDataFieldTest)

#include "RKMetaDataFieldTest.moc"

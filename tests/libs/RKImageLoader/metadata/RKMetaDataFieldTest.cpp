#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QTest>

class RKMetaDataFieldTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void keywordsAreDecoded()
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
};

QTEST_APPLESS_MAIN(RKMetaDataFieldTest)

#include "RKMetaDataFieldTest.moc"

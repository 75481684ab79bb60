#include "RKImageLoader/faces/RKFaceDetectionEngine.h"

#include <QTest>

class RKFaceDetectionEngineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keywordsStandForConsecutiveNumbers();
};

void RKFaceDetectionEngineTest::keywordsStandForConsecutiveNumbers()
{
    const QStringList suffixes{QStringLiteral("Unknown"),
        QStringLiteral("ExifFuji"),
        QStringLiteral("ExifCanon"),
        QStringLiteral("FotoNation"),
        QStringLiteral("Iphoto"),
        QStringLiteral("HP"),
        QStringLiteral("HPbyXMP"),
        QStringLiteral("PerfectlyClear")};
    const auto* table = RKFaceDetectionEngine().enumToStringTable();
    for (int i = 0; i < suffixes.size(); ++i) {
        const auto engine = RKFaceDetectionEngineType(i);
        const QString keyword = QLatin1String("faceDetectionEngine") + suffixes[i];
        QCOMPARE(table->keyword(engine), keyword);
        QCOMPARE(table->decodeCSV(keyword), engine);
        QCOMPARE(RKFaceDetectionEngine(engine).isValid(), i != 0);
    }
    QCOMPARE(table->decodeCSV(QStringLiteral("other")), faceDetectionEngineUnknown);
}

QTEST_APPLESS_MAIN(RKFaceDetectionEngineTest)

#include "RKFaceDetectionEngineTest.moc"

#include "RKImageLoader/faces/RKClusterIds.h"
#include "RKImageLoader/faces/RKFaceIds.h"
#include "RKImageLoader/faces/RKImageIds.h"

#include <QTest>

namespace {

RKClusterIds clusters(const QList<int>& numbers)
{
    RKClusterIds ids;
    for (int number : numbers)
        ids.append(RKClusterId(number));
    return ids;
}

template <typename Id>
void checkSurface()
{
    QCOMPARE(Id().id(), -1);
    QCOMPARE(Id().toString(), QStringLiteral("-1"));
    QCOMPARE(Id(7).id(), 7);
    QVERIFY(Id(7) == Id(7) && Id(7) != Id(-7) && Id(-7) < Id(7) && Id(7) > Id(-1));
    QVERIFY(Id(7) <= Id(7) && Id(7) >= Id(7) && !(Id(8) <= Id(7)) && !(Id(7) >= Id(8)));
    QCOMPARE(qHash(Id(7), 99), qHash(7, 99));

    QString logged;
    QDebug(&logged) << Id(3);
    QCOMPARE(logged, QStringLiteral("\"3\" "));

    QByteArray bytes;
    QDataStream writer(&bytes, QIODevice::WriteOnly);
    Id(42) << writer << qint32(5);
    QDataStream reader(bytes);
    QString text;
    qint32 next = 0;
    reader >> text >> next;
    QCOMPARE(text, QStringLiteral("42"));
    QCOMPARE(next, 5);
}

} // namespace

class RKIdentifierTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyIdentifierHasTheSameSurface();
    void onlySomeNegativeClustersAreValid();
    void clusterTravelsInAVariantUnderItsName();
    void faceSetIsListedInAscendingOrder();
    void clusterListsLeaveOutOthers();
    void listsMakeSqlTexts();
};

void RKIdentifierTest::everyIdentifierHasTheSameSurface()
{
    checkSurface<RKFaceId>();
    checkSurface<RKClusterId>();
    checkSurface<RKImageId>();
    QVERIFY(RKFaceId(0).isValid() && !RKFaceId().isValid() && !RKFaceId(-100).isValid());
    QVERIFY(RKImageId(0).isValid() && !RKImageId().isValid() && !RKImageId(-300).isValid());
}

void RKIdentifierTest::onlySomeNegativeClustersAreValid()
{
    for (int id : {0, 5, -100, -200, -300})
        QVERIFY2(RKClusterId(id).isValid(), qPrintable(QString::number(id)));
    for (int id : {-1, -2, -99, -101, -201, -301})
        QVERIFY2(!RKClusterId(id).isValid(), qPrintable(QString::number(id)));
    QVERIFY(RKClusterId().isNull() && !RKClusterId(-2).isNull());
    QVERIFY(RKClusterId(-100).isUnnamedId() && !RKClusterId(-200).isUnnamedId());
    QVERIFY(RKClusterId(-300).isNoFacesId() && !RKClusterId(-200).isNoFacesId());
}

void RKIdentifierTest::clusterTravelsInAVariantUnderItsName()
{
    const QVariant variant = RKClusterId(4).toVariant();
    QCOMPARE(variant.typeName(), "RKClusterId");
    QVERIFY(variant.value<RKClusterId>() == RKClusterId(4));

    QMetaType type = QMetaType::fromName("RKClusterId");
    QVERIFY(type.isValid());
    const QVariant made(type);
    QVERIFY(made.value<RKClusterId>().isNull());
    const RKClusterId three(3);
    const RKClusterId four(4);
    QVERIFY(type.equals(variant.constData(), &four) && !type.equals(&three, &four));
    QVERIFY(type.compare(&three, &four) == QPartialOrdering::Less);
    QString logged;
    QDebug debug(&logged);
    QVERIFY(type.debugStream(debug, &three));
    QCOMPARE(logged.trimmed(), QStringLiteral("\"3\""));
}

void RKIdentifierTest::faceSetIsListedInAscendingOrder()
{
    const RKFaceIds ids(QSet<RKFaceId>{RKFaceId(7), RKFaceId(-1), RKFaceId(30), RKFaceId(7)});
    QCOMPARE(ids.size(), 3);
    QCOMPARE(ids.toString(), QStringLiteral("-1, 7, 30"));
    QCOMPARE(RKFaceIds().toString(), QString());
}

void RKIdentifierTest::clusterListsLeaveOutOthers()
{
    const RKClusterIds ids = clusters({5, -100, 9, 5, -200});
    QCOMPARE(ids.filterUnnamedClusterId(), clusters({5, 9, 5, -200}));
    QCOMPARE(ids.excludeClusterIds(clusters({5, 5, 8})), clusters({-100, 9, -200}));
    QCOMPARE(ids.excludeClusterIds({}), ids);
}

void RKIdentifierTest::listsMakeSqlTexts()
{
    const RKClusterIds ids = clusters({12, -100, 40, 12});
    QCOMPARE(ids.toSqlIdList(), QStringLiteral("12,-100,40,12"));
    QCOMPARE(ids.toStringList().size(), 4);
    QCOMPARE(RKClusterIds().toSqlIdList(), QString());
    QCOMPARE(RKImageIds(RKImageId(1)).toSqlIdList(), QStringLiteral("1"));
    QVERIFY(RKImageIds().toStringList().isEmpty());
}

QTEST_APPLESS_MAIN(RKIdentifierTest)

#include "RKIdentifierTest.moc"

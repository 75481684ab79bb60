#include "RKImageLoader/faces/RKClusterIds.h"
#include "RKImageLoader/faces/RKFaceIds.h"
#include "support/RKQuietTest.h"

using namespace Qt::StringLiterals;

class RKIdentifierTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void negativeIdentifiersAreInvalidButForReservedClusters()
    {
        for (const int id : {0, -1, -99, -100, -101, -200, -201, -300, -301}) {
            const bool isReserved = id == -100 || id == -200 || id == -300;
            QCOMPARE(RKClusterId(id).isValid(), id == 0 || isReserved);
            QCOMPARE(RKFaceId(id).isValid(), id == 0);
        }
    }

    void clusterTravelsInAVariantUnderItsName()
    {
        const QVariant variant = RKClusterId(4).toVariant();
        QVERIFY(variant.value<RKClusterId>() == RKClusterId(4));
        // Hosts find the type by its name.
        const QVariant made(QMetaType::fromName("RKClusterId"));
        QCOMPARE(made.metaType(), variant.metaType());
        QVERIFY(made.value<RKClusterId>().isNull() && made != variant);
    }

    void listsLeaveOutOthersAndMakeTexts()
    {
        RKClusterIds ids;
        for (const int number : {5, -100, 9, 5, -200})
            ids.append(RKClusterId(number));
        QCOMPARE(ids.toSqlIdList(), u"5,-100,9,5,-200"_s);
        QCOMPARE(ids.filterUnnamedClusterId().toSqlIdList(), u"5,9,5,-200"_s);
        RKClusterIds excluded;
        excluded << RKClusterId(5) << RKClusterId(8);
        QCOMPARE(ids.excludeClusterIds(excluded).toSqlIdList(), u"-100,9,-200"_s);
        const RKFaceIds faces(QSet<RKFaceId>{RKFaceId(7), RKFaceId(-1), RKFaceId(30)});
        QCOMPARE(faces.toString(), u"-1, 7, 30"_s);
    }
};

QTEST_APPLESS_MAIN(RKIdentifierTest)

#include "RKIdentifierTest.moc"

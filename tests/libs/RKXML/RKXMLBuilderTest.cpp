#include "RKXML/RKXMLBuilder.h"

#include "support/RKQuietTest.h"

class RKXMLBuilderTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void childrenAreAppendedWithTheirText()
    {
        QDomDocument document;
        QDomElement root = document.createElement(QStringLiteral("root"));
        document.appendChild(root);

        QDomElement child = RKXMLBuilder::buildDomElement(root, QStringLiteral("a"));
        RKXMLBuilder::buildDomElement(child, QStringLiteral("b"), QStringLiteral("1 < 2"));
        RKXMLBuilder::buildDomElement(root, QStringLiteral("c"));

        QCOMPARE(document.toString(-1), QStringLiteral("<root><a><b>1 &lt; 2</b></a><c/></root>"));
    }

    void aNullParentGetsNoChild()
    {
        QDomElement none;
        QVERIFY(RKXMLBuilder::buildDomElement(none, QStringLiteral("a")).isNull());
        QVERIFY(none.isNull());
    }
};

QTEST_GUILESS_MAIN(RKXMLBuilderTest)

#include "RKXMLBuilderTest.moc"

#include "support/RKQuietTest.h"

#include "RKCore/RKInitializer.h"
#include "RKCore/RKMonolithFile.h"
#include "RKCore/RKRational.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

class NotingInitializer : public RKInitializerAbstract
{
public:
    NotingInitializer(QString name, QStringList& notes)
        : m_name(std::move(name))
        , m_notes(notes)
    {
    }

    void setup(RKInitializerOption option) override
    {
        m_notes << u"setup %1 %2"_s.arg(m_name).arg(int(option));
    }

    void teardown() override
    {
        m_notes << u"teardown %1"_s.arg(m_name);
    }

private:
    QString m_name;
    QStringList& m_notes;
};

} // namespace

class RKCoreTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initializersRunInOrderAndBackwardsAtTheEnd()
    {
        QStringList notes;
        NotingInitializer first(u"a"_s, notes);
        NotingInitializer second(u"b"_s, notes);
        RKInitializer initializer;
        initializer.registerInitializer(&first);
        initializer.registerInitializer(&second);
        initializer.registerInitializer(&first);

        initializer.setup(RKInitializerOption::Test);
        initializer.teardown();
        initializer.removeInitializer(&first);
        initializer.setup(RKInitializerOption::Application);

        QCOMPARE(notes.join(u';'), u"setup a 2;setup b 2;teardown b;teardown a;setup b 0"_s);
    }

    void fractionsWithoutDenominatorAreNoNumbers()
    {
        QCOMPARE(RKRational(3, -2).toDouble(), -1.5);
        QVERIFY(!RKRational(1, 0).isValid());
        QCOMPARE(RKRational(1, 0).toDouble(), 0.0);
        QVERIFY(RKRational(1, 2) != RKRational(2, 4));
    }

    void externalizeAsksTheResolverForAllButLocalFiles()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(u"bild ä#1.jpg"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QUrl local = QUrl::fromLocalFile(file.fileName());
        const QUrl inContainer(u"container://album/1.jpg"_s);
        QCOMPARE(RKMonolithFile::externalize(inContainer), inContainer);

        RKMonolithFile::setResolver(
            [](const QUrl& url) { return QUrl::fromLocalFile(u"/cache" + url.path()); });
        QCOMPARE(RKMonolithFile::externalize(local), local);
        QCOMPARE(RKMonolithFile::externalize(inContainer).toLocalFile(), u"/cache/1.jpg"_s);
        RKMonolithFile::setResolver({});
    }
};

QTEST_GUILESS_MAIN(RKCoreTest)

#include "RKCoreTest.moc"

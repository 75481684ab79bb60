#include "support/RKQuietTest.h"
#include "support/RKTestThreads.h"

#include "RKCore/RKInitializer.h"
#include "RKCore/RKMonolithFile.h"
#include "RKCore/RKRegularExpression.h"
#include "RKCore/RKSingleton.h"
#include "RKCore/RKStringHelper.h"

#include <QTemporaryDir>

#include <atomic>

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
        m_notes << QStringLiteral("setup %1 %2").arg(m_name).arg(int(option));
    }

    void teardown() override
    {
        m_notes << QStringLiteral("teardown %1").arg(m_name);
    }

private:
    QString m_name;
    QStringList& m_notes;
};

std::atomic<int> setups = 0;

class Service : public RKSingleton<Service>
{
public:
    int value() const
    {
        return m_value;
    }

protected:
    void setupInstance() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        m_value = ++setups;
    }

private:
    int m_value = 0;
};

} // namespace

class RKCoreTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initializersRunInOrderAndBackwardsAtTheEnd()
    {
        QStringList notes;
        NotingInitializer first(QStringLiteral("a"), notes);
        NotingInitializer second(QStringLiteral("b"), notes);
        RKInitializer initializer;
        initializer.registerInitializer(&first);
        initializer.registerInitializer(&second);
        initializer.registerInitializer(&first);

        initializer.setup(RKInitializerOption::Test);
        initializer.teardown();
        initializer.removeInitializer(&first);
        initializer.setup(RKInitializerOption::Application);

        QCOMPARE(notes.join(u';'),
            QStringLiteral("setup a 2;setup b 2;teardown b;teardown a;setup b 0"));
    }

    void everyThreadGetsTheOneObjectSetUp()
    {
        std::atomic<int> good = 0;
        RKTestThreads::run(8, [&](int) { good += Service::instance()->value() == 1; });
        QCOMPARE(good.load(), 8);
        QCOMPARE(Service().value(), 0);
    }

    void externalizeAsksTheResolverForAllButLocalFiles()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("bild ä#1.jpg")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QUrl local = QUrl::fromLocalFile(file.fileName());
        const QUrl inContainer(QStringLiteral("container://album/1.jpg"));
        QCOMPARE(RKMonolithFile::externalize(inContainer), inContainer);

        RKMonolithFile::setResolver(
            [](const QUrl& url) { return QUrl::fromLocalFile(u"/cache" + url.path()); });
        QCOMPARE(RKMonolithFile::externalize(local), local);
        QCOMPARE(
            RKMonolithFile::externalize(inContainer).toLocalFile(), QStringLiteral("/cache/1.jpg"));
        RKMonolithFile::setResolver({});
    }

    void regularExpressionsRemoveEveryMatch()
    {
        const RKRegularExpression marker(QStringLiteral("lang=\"[^\"]*\""));
        QCOMPARE(
            marker.removeFrom(QStringLiteral("lang=\"x\" a lang=\"de\"b")), QStringLiteral(" a b"));
        const RKRegularExpression broken(QStringLiteral("("));
        QVERIFY(!broken.match(QStringLiteral("(")).hasMatch());
        QCOMPARE(broken.removeFrom(QStringLiteral("(")), QStringLiteral("("));
    }

    void stringsThatAreNoIntegersAreSkipped()
    {
        const QString texts = QStringLiteral(" 7 ;0x10;;-2147483648;2147483648;010");
        const QList<int> expected{7, std::numeric_limits<int>::min(), 10};
        QCOMPARE(RKStringHelper::stringListToIntList(texts.split(u';')), expected);
    }
};

QTEST_GUILESS_MAIN(RKCoreTest)

#include "RKCoreTest.moc"

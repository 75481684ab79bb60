#include "RKCore/RKSingleton.h"

#include "support/RKTestThreads.h"

#include <QTest>

#include <atomic>
#include <thread>

namespace {

std::atomic<int> setups{0};

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

class RKSingletonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void everyThreadGetsTheOneObjectSetUp()
    {
        std::atomic<int> good = 0;
        RKTestThreads::run(8, [&](int) { good += Service::instance()->value() == 1; });
        QCOMPARE(good.load(), 8);
        QCOMPARE(Service().value(), 0);
    }
};

QTEST_GUILESS_MAIN(RKSingletonTest)

#include "RKSingletonTest.moc"

#include "RKCore/RKSingleton.h"

#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

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
        std::vector<std::thread> threads;
        std::vector<Service*> objects(8, nullptr);
        std::vector<int> values(8, 0);
        for (size_t i = 0; i < objects.size(); ++i) {
            threads.emplace_back([&, i] {
                objects[i] = RKSingleton<Service>::instance();
                values[i] = objects[i]->value();
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(objects, std::vector<Service*>(8, Service::instance()));
        QCOMPARE(values, std::vector<int>(8, 1));
        QCOMPARE(Service().value(), 0);
    }
};

QTEST_GUILESS_MAIN(RKSingletonTest)

#include "RKSingletonTest.moc"

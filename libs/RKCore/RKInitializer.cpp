#include "RKCore/RKInitializer.h"

#include <QMutexLocker>

#include <algorithm>

void RKInitializer::registerInitializer(RKInitializerAbstract* initializer)
{
    const QMutexLocker locker(&m_mutex);
    if (initializer && !m_initializers.contains(initializer))
        m_initializers.append(initializer);
}

void RKInitializer::removeInitializer(RKInitializerAbstract* initializer)
{
    const QMutexLocker locker(&m_mutex);
    m_initializers.removeAll(initializer);
}

void RKInitializer::setup(RKInitializerOption option)
{
    for (RKInitializerAbstract* initializer : registered())
        initializer->setup(option);
}

void RKInitializer::teardown()
{
    QList<RKInitializerAbstract*> initializers = registered();
    std::reverse(initializers.begin(), initializers.end());
    for (RKInitializerAbstract* initializer : std::as_const(initializers))
        initializer->teardown();
}

QList<RKInitializerAbstract*> RKInitializer::registered() const
{
    const QMutexLocker locker(&m_mutex);
    return m_initializers;
}

#include "Background.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThreadPool>

#include <algorithm>

namespace {

// A folder that takes long must not keep the panel from its file, on any machine.
constexpr int kMinThreads = 4;

} // namespace

QThreadPool* backgroundThreads()
{
    static QPointer<QThreadPool> pool;
    if (!pool) {
        pool = new QThreadPool(QCoreApplication::instance());
        pool->setMaxThreadCount(std::max(kMinThreads, pool->maxThreadCount()));
    }
    return pool;
}

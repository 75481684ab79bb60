#include "RKCore/RKLogger.h"

#include <QDebug>
#include <QMutex>
#include <QMutexLocker>

#include <utility>

namespace {

struct SinkHolder
{
    // Guards sink and is held while it runs; nothing of ours is locked under it.
    QMutex mutex;
    RKLogger::Sink sink;
};

SinkHolder& holder()
{
    static SinkHolder instance;
    return instance;
}

} // namespace

void RKLogger::legacyLog(const QString& text, bool important)
{
    qInfo().noquote() << text;
    SinkHolder& current = holder();
    const QMutexLocker locker(&current.mutex);
    if (current.sink)
        current.sink(text, important);
}

void RKLogger::setSink(Sink sink)
{
    SinkHolder& current = holder();
    const QMutexLocker locker(&current.mutex);
    current.sink = std::move(sink);
}

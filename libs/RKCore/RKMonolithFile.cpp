#include "RKCore/RKMonolithFile.h"

#include <QFileInfo>
#include <QReadWriteLock>

#include <utility>

namespace {

struct ResolverHolder
{
    // Guards resolver; released before it is called.
    QReadWriteLock lock;
    RKMonolithFile::Resolver resolver;
};

ResolverHolder& holder()
{
    static ResolverHolder instance;
    return instance;
}

RKMonolithFile::Resolver currentResolver()
{
    ResolverHolder& current = holder();
    const QReadLocker locker(&current.lock);
    return current.resolver;
}

} // namespace

QString RKMonolithFile::externalize(const QUrl& url)
{
    const QString local = url.toLocalFile();
    if (!local.isEmpty() && QFileInfo(local).isFile())
        return local;
    const Resolver resolver = currentResolver();
    return resolver ? resolver(url) : local;
}

void RKMonolithFile::setResolver(Resolver resolver)
{
    ResolverHolder& current = holder();
    const QWriteLocker locker(&current.lock);
    current.resolver = std::move(resolver);
}

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

QUrl RKMonolithFile::externalize(const QUrl& url)
{
    if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile())
        return url;
    const Resolver resolver = currentResolver();
    return resolver ? resolver(url) : url;
}

void RKMonolithFile::setResolver(Resolver resolver)
{
    ResolverHolder& current = holder();
    const QWriteLocker locker(&current.lock);
    current.resolver = std::move(resolver);
}

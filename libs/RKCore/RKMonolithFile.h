#pragma once

#include "RKCore/RKCoreExport.h"

#include <QUrl>

#include <functional>

/// Access to files that lie inside the host's container files. Thread-safe.
class RKCORE_EXPORT RKMonolithFile
{
public:
    /// Turns the URL of a file inside a container into the URL of a plain local file that holds
    /// its bytes. Returns an empty URL if it can't.
    using Resolver = std::function<QUrl(const QUrl& url)>;

    /// The URL of a plain local file: the given one if that is an existing local file, else what
    /// the resolver returns. Without a resolver it is always the given one.
    static QUrl externalize(const QUrl& url);

    /// Sets the host's resolver; an empty one removes it. It is called on whatever thread needs a
    /// file, and possibly on several at once.
    static void setResolver(Resolver resolver);
};

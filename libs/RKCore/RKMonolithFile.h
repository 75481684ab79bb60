#pragma once

#include "RKCore/RKCoreExport.h"

#include <QString>
#include <QUrl>

#include <functional>

/// Access to files that lie inside the host's container files. Thread-safe.
class RKCORE_EXPORT RKMonolithFile
{
public:
    /// Turns the URL of a file inside a container into the path of a plain local file that holds
    /// its bytes. Returns an empty path when it can't.
    using Resolver = std::function<QString(const QUrl& url)>;

    /// The plain local file of a URL: the path itself for an existing local file, else what the
    /// resolver answers; without a resolver the URL's local path, which is empty for other schemes.
    static QString externalize(const QUrl& url);

    /// Sets the host's resolver; an empty one removes it. It is called on the asking thread and
    /// possibly on several at once.
    static void setResolver(Resolver resolver);
};

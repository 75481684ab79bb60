#pragma once

#include <QFutureWatcher>
#include <QtConcurrent>

/// The threads that read metadata and folders: QtConcurrent::run(backgroundThreads(), ...). The
/// global pool is Qt's for painting, and its work would wait for files. The application waits for
/// them when it ends. For the window's thread.
QThreadPool* backgroundThreads();

/// Hands a future's result to a function on the context's thread. Nothing happens if the future is
/// cancelled or the context is gone by then, which QFuture::then() of Qt 6.4 does not allow.
template <typename Result, typename Function>
void whenDone(const QFuture<Result>& future, QObject* context, Function function)
{
    auto* watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, function] {
        watcher->deleteLater();
        if (watcher->future().resultCount() > 0)
            function(watcher->result());
    });
    watcher->setFuture(future);
}

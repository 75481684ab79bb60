#include "BackgroundThreads.h"

#include <QThreadPool>

QThreadPool* backgroundThreads()
{
    static QThreadPool pool;
    return &pool;
}

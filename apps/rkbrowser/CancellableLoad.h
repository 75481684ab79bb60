#pragma once

#include "RKImageLoaderAsync/RKLoadResult.h"

#include <QFuture>

#include <functional>

/// Takes a load back. Harmless when it is done.
using CancelLoad = std::function<void()>;

/// Makes something of a loaded picture, on the loader's thread, and hands it to the context's.
///
/// QFuture::cancel() of Qt 6.4 walks along the continuations of a future, also where they are done
/// and gone; what cancels therefore keeps them alive.
template <typename Make, typename Take>
CancelLoad followLoad(QFuture<RKLoadResult> load, const Make& make, QObject* context, Take take)
{
    auto made = load.then(make);
    auto taken = made.then(context, std::move(take));
    return [load, made, taken]() mutable { load.cancel(); };
}

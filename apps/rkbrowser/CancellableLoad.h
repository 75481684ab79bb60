#pragma once

#include "RKImageLoaderAsync/RKLoadResult.h"

#include <QCoreApplication>
#include <QFuture>
#include <QPointer>

#include <functional>
#include <type_traits>

/// Takes a load back. Harmless when it is done.
using CancelLoad = std::function<void()>;

/// Makes something of a loaded picture, on the loader's thread, and hands it to the context's,
/// unless that is gone by then.
///
/// Qt 6.4 needs help: QFuture::cancel() walks along the continuations of a future, also where they
/// are done and gone, so that what cancels keeps them alive; and a continuation asks its context
/// without looking whether there still is one.
template <typename Make, typename Take>
CancelLoad followLoad(
    QFuture<RKLoadResult> load, const Make& make, const QObject* context, Take take)
{
    using Made = std::invoke_result_t<Make, const RKLoadResult&>;
    auto made = load.then(make);
    auto taken = made.then(QCoreApplication::instance(),
        [guard = QPointer<const QObject>(context), take = std::move(take)](const Made& result) {
            if (guard)
                take(result);
        });
    return [load, made, taken]() mutable { load.cancel(); };
}

#pragma once

#include "RKCore/RKCoreExport.h"

#include <QString>

#include <functional>

/// The log of the product, beside Qt's message log. Thread-safe.
class RKCORE_EXPORT RKLogger
{
public:
    /// Receives every text given to legacyLog(), with its second argument.
    using Sink = std::function<void(const QString& text, bool important)>;

    /// Writes the text to Qt's message log (qInfo), then passes both arguments to the sink.
    static void legacyLog(const QString& text, bool important);

    /// Sets the sink; an empty one removes it. The sink is called on the logging thread, one call
    /// at a time, and must not log through legacyLog() itself.
    static void setSink(Sink sink);
};

#pragma once

#include <QByteArray>

/// Takes the loops out of MNG files (MNG 1.0, 4.2.4), and what repeats them at their end (4.3.2),
/// and ends them after too many layers.
/// Reentrant.
///
/// The first frame needs neither. libmng runs for ever in a loop without delays, and paints all
/// layers without delays before it shows anything.
class RKMngLoops
{
public:
    static bool isMng(const QByteArray& data);

    /// An MNG file without its LOOP, ENDL and TERM chunks that ends where its layers pass
    /// RKImageLimits::kMaxMngPainted; any other data as they are.
    static QByteArray removed(const QByteArray& data);
};

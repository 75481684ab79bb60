#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>

/// Takes the loops out of MNG files (MNG 1.0, 4.2.4). Reentrant.
///
/// The first frame doesn't need them, and libmng runs for ever in a loop without delays.
class RKIMAGELOADER_TEST_EXPORT RKMngLoops
{
public:
    static bool isMng(const QByteArray& data);

    /// An MNG file without its LOOP and ENDL chunks; any other data as they are.
    static QByteArray removed(const QByteArray& data);
};

#include "imageformats/heif/RKHeifCodec.h"
#include "imageformats/heif/RKHeifPicture.h"

// The symbol is looked up by its name, so that C++ may not decorate it. Whoever calls it is C++.
#ifdef __clang__
#    pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

extern "C" Q_DECL_EXPORT std::unique_ptr<RKOpenPicture> rkOpenHeif(
    const QByteArray& file, QByteArray* undecodable)
{
    return RKHeifPicture::open(file, undecodable);
}

static_assert(std::is_same_v<decltype(rkOpenHeif), RKHeifCodec::Open>);

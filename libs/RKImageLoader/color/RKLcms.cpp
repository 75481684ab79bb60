#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"

#include <lcms2_plugin.h>

#include <array>

namespace {

// ICC.1:2022, 7.2 and 7.3: the header, the number of tags, and signature, offset and size of each.
constexpr quint64 kHeaderSize = 128;
constexpr quint64 kSignatureSize = 4;

/// The engine would leave out a tag that lies outside, and convert by what is left.
bool holdsAllItsTags(const QByteArray& bytes)
{
    RKByteReader tags(bytes);
    tags.take(kHeaderSize);
    const auto count = tags.number<quint32>();
    for (quint32 i = 0; i < count && tags.isGood(); ++i) {
        tags.take(kSignatureSize);
        const auto offset = tags.number<quint32>();
        const auto size = tags.number<quint32>();
        if (qint64(offset) + size > tags.size())
            return false;
    }
    return tags.isGood();
}

/// Whether the colorants of a profile without tables span a space. Damaged ones make one colour of
/// all: the engine doesn't mind, for it inverts the matrix of a destination only.
bool hasUsableMatrix(cmsHPROFILE profile)
{
    constexpr std::array kColorants
        = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    if (cmsGetColorSpace(profile) != cmsSigRgbData || cmsIsTag(profile, cmsSigAToB0Tag)
        || cmsIsTag(profile, cmsSigDToB0Tag))
        return true;
    cmsMAT3 matrix;
    cmsMAT3 inverse;
    for (size_t i = 0; i < kColorants.size(); ++i) {
        const auto* color = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, kColorants[i]));
        // Then it has other tables, or the engine refuses it.
        if (!color)
            return true;
        matrix.v[i] = {{color->X, color->Y, color->Z}};
    }
    return _cmsMAT3inverse(&matrix, &inverse);
}

bool describesPictures(cmsHPROFILE profile)
{
    switch (cmsGetDeviceClass(profile)) {
    case cmsSigInputClass:
    case cmsSigDisplayClass:
    case cmsSigOutputClass:
    case cmsSigColorSpaceClass: return true;
    default: return false;
    }
}

} // namespace

RKLcms::Context RKLcms::makeContext()
{
    return Context(cmsCreateContext(nullptr, nullptr));
}

RKLcms::Profile RKLcms::openProfile(const Context& context, const QByteArray& bytes)
{
    if (!holdsAllItsTags(bytes))
        return nullptr;
    Profile profile(
        cmsOpenProfileFromMemTHR(context.get(), bytes.constData(), cmsUInt32Number(bytes.size())));
    const bool isUsable
        = profile && describesPictures(profile.get()) && hasUsableMatrix(profile.get());
    return isUsable ? std::move(profile) : nullptr;
}

QString RKLcms::nameOf(const Profile& profile)
{
    std::array<wchar_t, 256> name{};
    cmsGetProfileInfo(profile.get(), cmsInfoDescription, "en", "US", name.data(), sizeof(name));
    name.back() = 0;
    return QString::fromWCharArray(name.data()).trimmed();
}

QString RKLcms::version()
{
    // 2140 is 2.14.
    const int encoded = cmsGetEncodedCMMversion();
    return QStringLiteral("%1.%2").arg(encoded / 1000).arg(encoded % 1000 / 10);
}

#include "RKImageLoader/color/RKLcms_p.h"

#include <QCryptographicHash>

#include <IccProfile.h>

#include <algorithm>
#include <cstring>

namespace {

QByteArrayView bytesOf(const CIccIO* io)
{
    return {io->GetData(), qsizetype(io->GetLength())};
}

} // namespace

bool CIccProfile::Read(CIccIO* pIO)
{
    const QByteArray bytes = bytesOf(pIO).toByteArray();
    const RKLcms::Context context = RKLcms::makeContext();
    const RKLcms::Profile profile = RKLcms::openProfile(context, bytes);
    if (!profile)
        return false;
    m_bytes = bytes;
    m_Header.version = cmsGetEncodedICCversion(profile.get());
    m_Header.colorSpace = icColorSpaceSignature(cmsGetColorSpace(profile.get()));
    m_tags.resize(size_t(cmsGetTagCount(profile.get())));
    for (size_t i = 0; i < m_tags.size(); ++i)
        m_tags[i] = cmsGetTagSignature(profile.get(), cmsUInt32Number(i));
    return true;
}

bool CIccProfile::IsTagPresent(icSignature sig) const
{
    return std::find(m_tags.begin(), m_tags.end(), sig) != m_tags.end();
}

const QByteArray& CIccProfile::bytes() const
{
    return m_bytes;
}

void CalcProfileID(CIccIO* pIO, icProfileID* pProfileID)
{
    // Offsets and sizes of ICC.1:2022, 7.2.11, 7.2.15 and 7.2.18.
    constexpr std::array<std::pair<qsizetype, qsizetype>, 3> kLeftOut
        = {{{44, 4}, {64, 4}, {84, 16}}};
    QByteArray bytes = bytesOf(pIO).toByteArray();
    for (const auto& [offset, size] : kLeftOut) {
        if (offset + size <= bytes.size())
            std::fill_n(bytes.begin() + offset, size, '\0');
    }
    const QByteArray sum = QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
    std::memcpy(pProfileID->ID8, sum.constData(), sizeof pProfileID->ID8);
}

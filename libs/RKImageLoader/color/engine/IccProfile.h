#pragma once

#include <QByteArray>

#include <IccIO.h>

#include <array>
#include <vector>

// Signatures of ICC.1:2022, 7.2.6 and 9.2.
enum icColorSpaceSignature : icUInt32Number
{
    icSigXYZData = 0x58595A20,
    icSigLabData = 0x4C616220,
    icSigRgbData = 0x52474220,
    icSigGrayData = 0x47524159,
    icSigCmykData = 0x434D594B,
    icSigUnknownData = 0x3F3F3F3F
};

enum icTagSignature : icUInt32Number
{
    icSigAToB0Tag = 0x41324230,
    icSigDToB0Tag = 0x44324230,
    icSigRedTRCTag = 0x72545243,
    icSigGreenTRCTag = 0x67545243,
    icSigBlueTRCTag = 0x62545243
};

using icSignature = icUInt32Number;

/// Sixteen bytes, as they stand in the profile.
union icProfileID {
    icUInt8Number ID8[16];
    icUInt32Number ID32[4];
};

struct icHeader
{
    /// Major version in the top byte.
    icUInt32Number version;
    icColorSpaceSignature colorSpace;
    icProfileID profileID;
};

/// A colour profile. Copies share what was read.
class CIccProfile
{
public:
    /// False for bytes that are not a profile of a picture's colours, or are damaged. They are not
    /// needed afterwards.
    bool Read(CIccIO* pIO);
    bool IsTagPresent(icSignature sig) const;

    /// The bytes that were read; not in SampleICC.
    const QByteArray& bytes() const;

    icHeader m_Header = {};

private:
    QByteArray m_bytes;
    std::vector<icSignature> m_tags;
};

/// The profile ID of ICC.1:2022, 7.2.18: an MD5 sum that leaves out flags, rendering intent and the
/// ID itself.
void CalcProfileID(CIccIO* pIO, icProfileID* pProfileID);

#pragma once

#include <IccProfile.h>

#include <memory>
#include <vector>

class CIccCreateXformHintManager;

enum icStatusCMM
{
    icCmmStatOk = 0,
    icCmmStatBad,
    icCmmStatBadXform,
    icCmmStatInvalidProfile,
    icCmmStatBadSpaceLink
};

enum icRenderingIntent
{
    icPerceptual = 0
};

enum icXformInterp
{
    icInterpLinear = 0
};

enum icXformLutType
{
    icXformLutColor = 0
};

/// Converts colours from one profile to another, perceptually. Channels lie between 0 and 1 for the
/// least and the greatest value of their encoding: RGB, inks, CIE Lab (0 to 100, -128 to 127) and
/// XYZ (0 to 1 + 32767/32768).
///
/// Once Begin() has succeeded, several threads may use Apply(). The rest is not thread-safe.
class CIccCmm
{
public:
    /// The profiles must have the space, if it is known. The first profile must be an input.
    explicit CIccCmm(icColorSpaceSignature nSrcSpace = icSigUnknownData,
        icColorSpaceSignature nDestSpace = icSigUnknownData,
        bool bFirstInput = true);
    CIccCmm(const CIccCmm&) = delete;
    CIccCmm& operator=(const CIccCmm&) = delete;
    virtual ~CIccCmm();

    /// The source first, then the destination. Takes the profile over on success only.
    icStatusCMM AddXform(CIccProfile* pProfile,
        icRenderingIntent nIntent,
        icXformInterp nInterp,
        icXformLutType nLutType,
        bool bUseMpeTags,
        CIccCreateXformHintManager* pHintManager);
    /// Makes ready for Apply(). Fails for profiles that lack what the conversion needs.
    icStatusCMM Begin(bool bAllocNewApply = true);
    /// Begin() has succeeded.
    bool Valid() const;

    icColorSpaceSignature GetSourceSpace() const;
    icColorSpaceSignature GetDestSpace() const;

    /// Converts one colour; both may be the same array, of at least four numbers. The result is
    /// limited to 0 to 1. Where any channel of the source is not a number, no channel of the result
    /// is one.
    icStatusCMM Apply(icFloatNumber* DstPixel, const icFloatNumber* SrcPixel) const;
    /// Converts colours that follow one another without gaps, faster than one by one.
    icStatusCMM Apply(
        icFloatNumber* DstPixel, const icFloatNumber* SrcPixel, icUInt32Number nPixels) const;

private:
    struct Engine;

    icColorSpaceSignature m_sourceSpace;
    icColorSpaceSignature m_targetSpace;
    std::vector<std::unique_ptr<CIccProfile>> m_profiles;
    std::unique_ptr<Engine> m_engine;
};

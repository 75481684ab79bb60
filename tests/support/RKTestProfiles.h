#pragma once

#include <QByteArray>

#include <lcms2.h>

/// ICC profiles for tests, made by Little CMS.
namespace RKTestProfiles {

/// The bytes of a profile, which is closed.
inline QByteArray bytesOf(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    QByteArray bytes(qsizetype(size), '\0');
    if (!cmsSaveProfileToMem(profile, bytes.data(), &size))
        qFatal("can't save a profile");
    cmsCloseProfile(profile);
    return bytes;
}

/// The primaries of Adobe RGB (1998), or with red and green exchanged.
inline QByteArray rgb(double gamma, bool swapped = false)
{
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyY red = {0.64, 0.33, 1};
    const cmsCIExyY green = {0.21, 0.71, 1};
    const cmsCIExyYTRIPLE primaries
        = {swapped ? green : red, swapped ? red : green, {0.15, 0.06, 1}};
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* const curves[3] = {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    return bytesOf(profile);
}

/// A scanner: rgb(2.2) as a table of 17 x 17 x 17 colours.
inline QByteArray rgbTable()
{
    const QByteArray curves = rgb(2.2);
    cmsHPROFILE from = cmsOpenProfileFromMem(curves.constData(), cmsUInt32Number(curves.size()));
    cmsHPROFILE lab = cmsCreateLab2Profile(nullptr);
    cmsHTRANSFORM transform = cmsCreateTransform(
        from, TYPE_RGB_16, lab, TYPE_LabV2_16, INTENT_PERCEPTUAL, cmsFLAGS_NOOPTIMIZE);
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigInputClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 17, 3, 3, nullptr);
    cmsStageSampleCLut16bit(
        table,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void* converter) {
            cmsDoTransform(converter, in, out, 1);
            return cmsBool(1);
        },
        transform,
        0);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(transform);
    cmsCloseProfile(lab);
    cmsCloseProfile(from);
    return bytesOf(profile);
}

inline QByteArray grey(double gamma)
{
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return bytesOf(profile);
}

/// A printer that gives L = 100 (1 - k) (1 - (c + m + y) / 3) and no hue.
inline QByteArray cmyk()
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.1);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 5, 4, 3, nullptr);
    cmsStageSampleCLut16bit(
        table,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
            const double ink = (double(in[0]) + in[1] + in[2]) / 3 / 65535;
            out[0] = cmsUInt16Number(65280 * (1 - in[3] / 65535.0) * (1 - ink));
            out[1] = out[2] = 0x8000;
            return cmsBool(1);
        },
        nullptr,
        0);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    return bytesOf(profile);
}

} // namespace RKTestProfiles

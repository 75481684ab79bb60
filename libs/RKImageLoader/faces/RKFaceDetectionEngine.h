#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKEnumWrapper.h"

/// What found a face rectangle. Consecutive numbers, not flags.
enum RKFaceDetectionEngineType : qint64
{
    faceDetectionEngineUnknown = 0,
    /// The camera, in Fujifilm's maker note.
    faceDetectionEngineExifFuji = 1,
    /// The camera, in Canon's maker note.
    faceDetectionEngineExifCanon = 2,
    faceDetectionEngineFotoNation = 3,
    faceDetectionEngineIphoto = 4,
    faceDetectionEngineHP = 5,
    /// The HP engine; read back from a face region in XMP that carries a valid cluster.
    faceDetectionEngineHPbyXMP = 6,
    faceDetectionEnginePerfectlyClear = 7
};

/// A face detection engine with its keyword, which is spelled like the enumerator.
///
/// Reentrant.
class RKIMAGELOADER_EXPORT RKFaceDetectionEngine : public RKEnumWrapper<RKFaceDetectionEngineType>
{
public:
    /// Unknown.
    RKFaceDetectionEngine() = default;
    /// One of the enumerators; others have no keyword.
    RKFaceDetectionEngine(RKFaceDetectionEngineType engine);

    void fillTable(RKEnumToStringTable<RKFaceDetectionEngineType>* table) const override;
};

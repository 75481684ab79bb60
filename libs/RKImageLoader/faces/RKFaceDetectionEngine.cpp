#include "RKImageLoader/faces/RKFaceDetectionEngine.h"

RKFaceDetectionEngine::RKFaceDetectionEngine(RKFaceDetectionEngineType engine)
    : RKEnumWrapper(engine)
{
}

void RKFaceDetectionEngine::fillTable(RKEnumToStringTable<RKFaceDetectionEngineType>* table) const
{
    table->insert(QStringLiteral("faceDetectionEngineUnknown"), faceDetectionEngineUnknown);
    table->insert(QStringLiteral("faceDetectionEngineExifFuji"), faceDetectionEngineExifFuji);
    table->insert(QStringLiteral("faceDetectionEngineExifCanon"), faceDetectionEngineExifCanon);
    table->insert(QStringLiteral("faceDetectionEngineFotoNation"), faceDetectionEngineFotoNation);
    table->insert(QStringLiteral("faceDetectionEngineIphoto"), faceDetectionEngineIphoto);
    table->insert(QStringLiteral("faceDetectionEngineHP"), faceDetectionEngineHP);
    table->insert(QStringLiteral("faceDetectionEngineHPbyXMP"), faceDetectionEngineHPbyXMP);
    table->insert(
        QStringLiteral("faceDetectionEnginePerfectlyClear"), faceDetectionEnginePerfectlyClear);
}

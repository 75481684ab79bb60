#include "RKImageLoader/metadata/exiv2/RKCameraFaces_p.h"

#include <QPoint>
#include <QRect>

RKFacePositions RKCameraFaces::fujifilm(
    int faceCount, const QList<int>& edges, const QSize& imageSize)
{
    if (imageSize.isEmpty())
        return {};
    const qsizetype number = qMin<qsizetype>(faceCount, edges.size() / 4);

    QList<QRect> rects;
    for (qsizetype i = 0; i < number; ++i) {
        const QPoint topLeft(edges[i * 4], edges[i * 4 + 1]);
        const QPoint bottomRight(edges[i * 4 + 2], edges[i * 4 + 3]);
        const bool hasArea = bottomRight.x() > topLeft.x() && bottomRight.y() > topLeft.y();
        if (const QRect rect(topLeft, bottomRight); hasArea && QRect({}, imageSize).contains(rect))
            rects.append(rect);
    }
    if (rects.isEmpty())
        return {};
    const QList<RKFaceDetectionEngineType> engines(rects.size(), faceDetectionEngineExifFuji);
    return RKFacePositions(imageSize, rects, engines);
}

RKFacePositions RKCameraFaces::canon(const QList<int>& record)
{
    constexpr int kNumber = 2;
    constexpr int kFrameWidth = 3;
    constexpr int kFrameHeight = 4;
    constexpr qsizetype kFirstCenter = 8;
    // 65535 and other numbers beyond the camera's nine places stand for "not looked for".
    constexpr int kMostFaces = 9;

    if (record.size() <= kFrameHeight)
        return {};
    const int number = record[kNumber];
    const QSize frame(record[kFrameWidth], record[kFrameHeight]);
    if (number < 1 || number > kMostFaces || record.size() < kFirstCenter + 2 * number
        || frame.isEmpty())
        return {};

    QList<QPoint> centers;
    for (qsizetype i = 0; i < number; ++i) {
        const QPoint fromCenter(static_cast<qint16>(record[kFirstCenter + 2 * i]),
            static_cast<qint16>(record[kFirstCenter + 2 * i + 1]));
        const QPoint center = QPoint(frame.width() / 2, frame.height() / 2) + fromCenter;
        if (QRect({}, frame).contains(center))
            centers.append(center);
    }
    if (centers.isEmpty())
        return {};
    const QList<RKFaceDetectionEngineType> engines(centers.size(), faceDetectionEngineExifCanon);
    return RKFacePositions(frame, centers, engines);
}

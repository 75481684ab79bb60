#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"

#include <QList>
#include <QSize>

/// The faces that cameras record in their maker notes; none for a record that is malformed.
class RKCameraFaces
{
public:
    RKCameraFaces() = delete;

    /// The edges are left, top, right and bottom of each face in pixels of the image, whose size is
    /// that of the pixels as stored.
    static RKFacePositions fujifilm(int faceCount, const QList<int>& edges, const QSize& imageSize);

    /// Record of 16-bit numbers: its length in bytes, one unknown, number of faces, width and
    /// height of the frame that the faces refer to, three unknown, then the centres from the
    /// frame's centre on, right and down.
    static RKFacePositions canon(const QList<int>& record);
};

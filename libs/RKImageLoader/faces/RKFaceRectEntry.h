#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKClusterId.h"
#include "RKImageLoader/faces/RKFaceId.h"

#include <QRect>
#include <QString>

/// A face of the host's catalogue with its rectangle in pixels of the image. Reentrant.
class RKIMAGELOADER_EXPORT RKFaceRectEntry
{
public:
    /// The face in the host's catalogue; invalid by default.
    /// @{
    RKFaceId faceId() const;
    void setFaceId(const RKFaceId& faceId);
    /// @}

    /// In pixels, from the top left; the null rectangle by default.
    QRect faceRect() const;
    /// Not checked; see isValid().
    void setFaceRect(const QRect& faceRect);

    /// The person's cluster; none by default.
    /// @{
    RKClusterId clusterId() const;
    void setClusterId(const RKClusterId& clusterId);
    /// @}

    /// The person's name; empty by default.
    /// @{
    QString clusterName() const;
    void setClusterName(const QString& clusterName);
    /// @}

    /// Whether the face is valid and its rectangle has at least one pixel.
    bool isValid() const;

    /// By face, then by the rectangle's left and top side; the rest is not compared.
    bool operator<(const RKFaceRectEntry& other) const;

private:
    RKFaceId m_faceId;
    QRect m_faceRect;
    RKClusterId m_clusterId;
    QString m_clusterName;
};

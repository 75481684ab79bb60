#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/faces/RKIdentifier.h"

#include <QMetaType>
#include <QVariant>

/// The cluster of faces of one person in the host's catalogue.
///
/// Some negative numbers have a meaning of their own: -1 is no cluster, -100 the cluster of faces
/// without a name, -300 marks a picture without faces, and -200 is reserved. They are stored in
/// files. Registered with the meta-type system as "RKClusterId". Reentrant.
class RKIMAGELOADER_EXPORT RKClusterId : public RKIdentifier<RKClusterId>
{
public:
    /// No cluster, -1.
    RKClusterId() = default;
    /// Any number; see above for those with a meaning.
    explicit RKClusterId(int id);

    /// Whether it is -1.
    bool isNull() const;
    /// Whether it is not negative, or one of -100, -200 and -300.
    bool isValid() const;
    /// Whether it is -100, the cluster of faces without a name.
    bool isUnnamedId() const;
    /// Whether it is -300, the mark of a picture without faces.
    bool isNoFacesId() const;

    /// A variant that holds the RKClusterId itself.
    QVariant toVariant() const;
};

Q_DECLARE_METATYPE(RKClusterId)

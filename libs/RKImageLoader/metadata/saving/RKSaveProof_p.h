#pragma once

#include "RKImageLoader/files/RKTiffComparison_p.h"
#include "RKImageLoader/metadata/saving/RKImageContent_p.h"
#include "RKImageLoader/metadata/saving/RKImageFileUpdate_p.h"

#include <QString>

/// Compares a file that is to be saved with the one that it is to replace: what the save was not
/// asked to change must be the same bytes, found by the library's own readers, and exiv2 must read
/// back what was wanted.
///
/// Reads metadata: the caller holds RKExiv2Library::xmpLock() exclusively.
class RKSaveProof
{
public:
    /// All must outlive this.
    RKSaveProof(const RKImageContent& before,
        const RKImageFileUpdate::Wanted& wanted,
        const RKFamilyChanges& changes);

    /// What the new file would lose, in words for the log; empty if nothing is lost and all that
    /// was wanted is there. Throws what exiv2 throws.
    QString loss(const RKImageContent& after) const;

private:
    QList<RKTiffComparison::Owned> ownedTags() const;
    QString lossOfParts(const RKImageFileParts& before, const RKImageFileParts& after) const;
    bool hasProfile(const RKImageFileParts& after) const;
    QString lossOfTiff(const RKSparseBytes& before, const RKSparseBytes& after) const;
    QString lossOfIptc(const QByteArrayList& before, const QByteArrayList& after) const;
    QString lossOfXmp(const QByteArray& before, const QByteArray& after) const;
    QString lossOnReading(const RKImageContent& after) const;

    const RKImageContent& m_before;
    const RKImageFileUpdate::Wanted& m_wanted;
    const RKFamilyChanges& m_changes;
};

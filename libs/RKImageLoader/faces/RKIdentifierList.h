#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QList>
#include <QString>
#include <QStringList>

/// An ordered list of identifiers and its texts; duplicates are kept. Reentrant.
template <typename Id>
class RKIMAGELOADER_EXPORT RKIdentifierList : public QList<Id>
{
public:
    /// One decimal text per identifier, in order.
    QStringList toStringList() const
    {
        QStringList texts;
        texts.reserve(this->size());
        for (const Id& id : *this)
            texts.append(id.toString());
        return texts;
    }

    /// The identifiers for an SQL list, "12,-100,40"; empty for an empty list.
    QString toSqlIdList() const
    {
        return toStringList().join(u',');
    }

protected:
    RKIdentifierList() = default;

    /// In the given order, repeated ones too.
    explicit RKIdentifierList(const QList<Id>& ids)
        : QList<Id>(ids)
    {
    }

    RKIdentifierList(const RKIdentifierList&) = default;
    RKIdentifierList(RKIdentifierList&&) noexcept = default;
    RKIdentifierList& operator=(const RKIdentifierList&) = default;
    RKIdentifierList& operator=(RKIdentifierList&&) noexcept = default;
    virtual ~RKIdentifierList() = default;
};

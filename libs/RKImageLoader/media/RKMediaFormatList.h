#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <initializer_list>

/// An ordered list of formats and its texts for file dialogs. Reentrant.
class RKIMAGELOADER_EXPORT RKMediaFormatList : public QList<RKMediaFormat>
{
public:
    RKMediaFormatList() = default;
    /// Every entry is an extension; each format is added once, unknown ones too.
    explicit RKMediaFormatList(const QList<QString>& extensions);
    /// The same for UTF-8 texts.
    explicit RKMediaFormatList(const QList<QByteArray>& extensions);
    /// Each format is added once.
    explicit RKMediaFormatList(const QList<RKMediaFormat>& formats);
    /// Takes the formats as they are, repeated ones too.
    RKMediaFormatList(std::initializer_list<RKMediaFormat> formats);

    RKMediaFormatList(const RKMediaFormatList&) = default;
    RKMediaFormatList(RKMediaFormatList&&) noexcept = default;
    RKMediaFormatList& operator=(const RKMediaFormatList&) = default;
    RKMediaFormatList& operator=(RKMediaFormatList&&) noexcept = default;
    virtual ~RKMediaFormatList();

    /// Every known format, whether this build reads it or not, in the order of the enumerators'
    /// values.
    static RKMediaFormatList all();

    /// Appends the format unless an equal one is in the list.
    void insertOnlyOnce(const RKMediaFormat& format);

    /// Every extension of every format once, in lower case and then in upper case.
    QStringList fileExtensions() const;

    /// Every filter ("*.jpg") of every format once, each followed by its ".icloud" form, so that
    /// placeholders of files that are still in a cloud are offered too.
    QStringList fileExtensionFilters() const;

    /// The filter of a file dialog: the formats' entries, separated by ";;".
    QString createFileFilterString() const;

    /// The first format with that filter entry; unknown if none has.
    RKMediaFormat formatByExtensionFilter(const QString& entry) const;

    /// Sorts by RKMediaFormat::priority(); the preferred format, if it is in the list, comes first.
    /// The order among equal priorities is not kept.
    void sort(const RKMediaFormat& preferred);

    /// The order of sort(): whether the priority of a is the lower one.
    static bool compareImageFileFormat(const RKMediaFormat& a, const RKMediaFormat& b);
};

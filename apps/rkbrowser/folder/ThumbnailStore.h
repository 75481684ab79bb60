#pragma once

#include "CancellableLoad.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include <QCache>
#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QObject>

/// What is shown of a file.
struct Thumbnail
{
    /// Null if it can't be loaded.
    QImage image;
    /// Why there is none, or only a part of it.
    QString reason;
};

/// Loads thumbnails in the background and keeps those that were seen last.
class ThumbnailStore : public QObject
{
    Q_OBJECT

public:
    /// A file as it is now: another one has another thumbnail.
    struct File
    {
        QString path;
        QDateTime modified;
    };

    explicit ThumbnailStore(RKAsyncLoader* loader, QObject* parent = nullptr);

    /// The longest side, in pixels of the screen.
    void setPixels(int pixels);

    /// Null until it is loaded.
    const Thumbnail* find(const File& file) const;
    /// Loads what is missing, and gives up what nobody wants any longer.
    void want(const QList<File>& visible, const QList<File>& nearby);

Q_SIGNALS:
    void loaded(const QString& filePath);

private:
    QString key(const File& file) const;
    void load(const File& file, const QString& key, RKLoadPriority priority);
    void keep(const QString& key, const QString& path, const Thumbnail& thumbnail);

    RKAsyncLoader* const m_loader;
    int m_pixels = 0;
    // By their bytes.
    QCache<QString, Thumbnail> m_kept;
    QHash<QString, CancelLoad> m_loading;
};

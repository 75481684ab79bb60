#pragma once

#include "CancellableLoad.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"
#include "picture/Histogram.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QRectF>
#include <QStringList>

/// All that the picture view shows of a file.
struct Picture
{
    struct Face
    {
        /// In fractions of the upright picture.
        QRectF rect;
        QString name;
    };

    /// Fitted into the screen. Null if the picture can't be loaded.
    QImage screen;
    /// Why not, or why only a part of it.
    QString reason;
    /// In pixels, upright.
    QSize size;
    /// In full size; null until somebody zooms in.
    QImage full;
    /// As large as the screen, in the colours of its profile; null until somebody asks for it.
    QImage unconverted;
    bool hasProfile = false;
    QList<Face> faces;
    Histogram histogram;
};

/// Loads the picture that is shown and, ahead, its neighbours. Keeps no others.
class PictureStore : public QObject
{
    Q_OBJECT

public:
    explicit PictureStore(RKAsyncLoader* loader, QObject* parent = nullptr);

    /// For screens of that many pixels.
    void want(const QString& shown, const QStringList& neighbours, const QSize& screen);
    /// Loads a file anew that has changed.
    void reload(const QString& filePath);
    /// Null until it is loaded.
    const Picture* find(const QString& filePath) const;

    /// These load more of a picture that is there.
    /// @{
    void wantFull(const QString& filePath);
    void wantUnconverted(const QString& filePath);
    /// @}

Q_SIGNALS:
    void loaded(const QString& filePath);

private:
    struct Entry
    {
        quint64 serial = 0;
        bool isLoaded = false;
        bool isFullWanted = false;
        bool isUnconvertedWanted = false;
        Picture picture;
        QList<CancelLoad> loading;
    };

    void load(const QString& filePath, RKLoadPriority priority);
    /// Null if the entry is another one by now.
    Entry* entry(const QString& filePath, quint64 serial);

    RKAsyncLoader* const m_loader;
    QHash<QString, Entry> m_entries;
    QSize m_screen;
    quint64 m_newest = 0;
};

#pragma once

#include "RKImageLoader/metadata/RKMetaData.h"

#include <QCoreApplication>
#include <QList>
#include <QPair>
#include <QString>

/// What the panel shows of a file. Reading it may take a while: not on the window's thread.
struct FileFacts
{
    Q_DECLARE_TR_FUNCTIONS(FileFacts)

public:
    static FileFacts read(const QString& filePath);

    RKMetaData metaData;
    /// Its metadata may be changed, if the format has a place for them.
    bool isPicture = false;
    /// Names and values for people, without empty ones.
    QList<QPair<QString, QString>> rows;
    /// Why the file can't be shown; empty if it can.
    QString problem;
};

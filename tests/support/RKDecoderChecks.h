#pragma once

#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <array>

/// What every decoder does with devices and files.
namespace RKDecoderChecks {

/// The size is the same from bytes, devices and files, and devices stay as they were. Of what can't
/// be read, the decoder tells.
inline void measuring(const RKBitmapDecoder& decoder,
    const QByteArray& format,
    const QByteArray& data,
    const QSize& expected)
{
    QCOMPARE(decoder.size(data, format), expected);
    QBuffer buffer;
    buffer.setData(data);
    QCOMPARE(decoder.size(&buffer, format), expected);
    QVERIFY(!buffer.isOpen());
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    QCOMPARE(decoder.size(&buffer, format), expected);
    QVERIFY(buffer.isOpen());
    buffer.close();
    QVERIFY(buffer.open(QIODevice::WriteOnly));
    const QRegularExpression closed(QStringLiteral("^could not open theIODevice "));
    QTest::ignoreMessage(QtWarningMsg, closed);
    QVERIFY(!decoder.size(&buffer, format).isValid());

    // A device that can't go back.
    std::array<int, 2> ends{};
    QVERIFY(::pipe(ends.data()) == 0 && ::write(ends[1], data, size_t(data.size())) == data.size());
    ::close(ends[1]);
    QFile sequential;
    QVERIFY(sequential.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    QCOMPARE(decoder.size(&sequential, format), expected);

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.") + QString::fromLatin1(format));
    RKTestPictures::write(path, data);
    QCOMPARE(decoder.size(QFileInfo(path), format), expected);
    QFile missing(folder.filePath(QStringLiteral("missing")));
    QTest::ignoreMessage(QtWarningMsg, closed);
    QVERIFY(!decoder.size(&missing, format).isValid());
    // Nobody writes into it, so opening it would wait for ever.
    QCOMPARE(::mkfifo(qPrintable(missing.fileName()), 0600), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Not a regular file$")));
    QVERIFY(!decoder.size(QFileInfo(missing), format).isValid());
}

/// A file gets the same bytes as a device, also through a link; a failure is told of and leaves the
/// old file.
inline void saving(
    const RKBitmapDecoder& decoder, const RKMediaFormat& format, const RKDrawable& drawable)
{
    QBuffer buffer;
    QVERIFY(decoder.save(&buffer, format, drawable));
    QVERIFY(!buffer.isOpen() && !buffer.data().isEmpty());

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.") + format.defaultExtension());
    const QString link = folder.filePath(QStringLiteral("link.") + format.defaultExtension());
    QVERIFY(QFile::link(path, link));
    for (const QString& name : {path, link}) {
        RKTestPictures::write(path, "old");
        QVERIFY(decoder.save(QFileInfo(name), drawable));
        QCOMPARE(RKTestPictures::read(path), buffer.data());
    }
    QVERIFY(QFileInfo(link).isSymLink());

    RKTestPictures::write(path, "old");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("failed to save ") + path));
    QVERIFY(!decoder.save(QFileInfo(path), RKDrawable()));
    QCOMPARE(RKTestPictures::read(path), "old");
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 2);

    QVERIFY(buffer.open(QIODevice::ReadOnly));
    QVERIFY(!decoder.save(&buffer, format, drawable));
    QFile full(QStringLiteral("/dev/full"));
    QVERIFY(!full.exists() || !decoder.save(&full, format, drawable));
}

} // namespace RKDecoderChecks

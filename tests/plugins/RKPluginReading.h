#pragma once

#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QImage>
#include <QImageReader>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

/// Reads files with a plug-in that is linked to the test, as any program would.
namespace RKPluginReading {

inline constexpr qint64 kSoon = 2000;

inline QImage read(const QByteArray& file, const QSize& scaled = {})
{
    QBuffer buffer;
    buffer.setData(file);
    QImageReader reader(&buffer);
    // Whatever a plug-in does wrong shows with it.
    reader.setAutoTransform(true);
    if (scaled.isValid())
        reader.setScaledSize(scaled);
    return reader.read();
}

inline QSize size(const QByteArray& file)
{
    QBuffer buffer;
    buffer.setData(file);
    return QImageReader(&buffer).size();
}

/// The largest difference of a channel.
inline int difference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return 256;
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            largest = std::max({largest,
                std::abs(qRed(p) - qRed(q)),
                std::abs(qGreen(p) - qGreen(q)),
                std::abs(qBlue(p) - qBlue(q)),
                std::abs(qAlpha(p) - qAlpha(q))});
        }
    }
    return largest;
}

/// Every beginning of the file is refused, and soon.
inline bool areBeginningsRefused(const QByteArray& file, qsizetype end)
{
    QElapsedTimer timer;
    timer.start();
    for (qsizetype length = 0; length < end; ++length) {
        if (!read(file.first(length)).isNull())
            return false;
    }
    return timer.elapsed() < RKTimeLimit::milliseconds(kSoon);
}

/// Many threads read the same file, and all get the same picture.
inline void checkThreads(const QByteArray& file)
{
    constexpr int kThreads = 8;
    const QImage expected = read(file);
    QVERIFY(!expected.isNull());
    std::atomic<int> same = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 4; ++j)
                same += read(file) == expected;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(same.load(), kThreads * 4);
}

} // namespace RKPluginReading

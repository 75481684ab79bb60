#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QSize>
#include <QtEndian>

/// Writes Photoshop files as simply as the format allows.
struct RKTestPsd
{
    bool isLarge = false;
    QSize size;
    int depth = 8;
    int mode = 3;
    /// 0 raw, 1 PackBits, 2 zip.
    int compression = 0;
    QByteArray palette = {};
    /// Identifiers and contents.
    QList<std::pair<int, QByteArray>> resources = {};
    int layerCount = 0;
    /// Where files with 16 bits have their layers.
    bool areLayersInBlock = false;
    /// The rows of one channel after the other, most significant byte first.
    QList<QByteArray> channels = {};

    /// A picture with 32 bits a pixel, its runs packed, and its profile if there is one.
    static RKTestPsd of(const QImage& image, const QByteArray& profile = {})
    {
        RKTestPsd file{.size = image.size(), .compression = 1};
        for (int shift = 16; shift >= 0; shift -= 8) {
            QByteArray channel;
            channel.reserve(qsizetype(image.width()) * image.height());
            for (int y = 0; y < image.height(); ++y) {
                const auto* const row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
                for (int x = 0; x < image.width(); ++x)
                    channel += char(row[x] >> shift);
            }
            file.channels += channel;
        }
        if (!profile.isEmpty())
            file.resources = {{1039, profile}};
        return file;
    }

    template <typename Number>
    static QByteArray number(Number value)
    {
        const Number swapped = qToBigEndian(value);
        return QByteArray(reinterpret_cast<const char*>(&swapped), sizeof(Number));
    }

    /// Runs of three equal bytes and more as such, all others as they are (TIFF 6.0, section 9).
    static QByteArray packBits(const QByteArray& row)
    {
        const auto runLength = [&row](qsizetype begin) {
            qsizetype end = begin + 1;
            while (end < row.size() && end - begin < 128 && row[end] == row[begin])
                ++end;
            return end - begin;
        };
        QByteArray packed;
        for (qsizetype i = 0; i < row.size();) {
            qsizetype length = runLength(i);
            if (length > 2) {
                packed += char(1 - length);
                packed += row[i];
            } else {
                while (i + length < row.size() && length < 128 && runLength(i + length) < 3)
                    ++length;
                packed += char(length - 1);
                packed += row.mid(i, length);
            }
            i += length;
        }
        return packed;
    }

    QByteArray bytes() const
    {
        const auto length = [this](qsizetype count) {
            return isLarge ? number(quint64(count)) : number(quint32(count));
        };
        QByteArray blocks;
        for (const auto& [id, content] : resources) {
            blocks += "8BIM" + number(quint16(id)) + QByteArray(2, 0)
                + number(quint32(content.size())) + content + QByteArray(content.size() % 2, 0);
        }
        QByteArray layers;
        if (layerCount != 0)
            layers = length(2) + number(qint16(layerCount));
        if (areLayersInBlock)
            layers = length(0) + number(quint32(0)) + "8BIMMt16" + length(0) + "8BIMLr16" + layers;
        return "8BPS" + number(quint16(isLarge ? 2 : 1)) + QByteArray(6, 0)
            + number(quint16(channels.size())) + number(quint32(size.height()))
            + number(quint32(size.width())) + number(quint16(depth)) + number(quint16(mode))
            + number(quint32(palette.size())) + palette + number(quint32(blocks.size())) + blocks
            + length(layers.size()) + layers + number(quint16(compression)) + pixels();
    }

private:
    QByteArray pixels() const
    {
        const QByteArray all = channels.join();
        if (compression == 0)
            return all;
        if (compression > 1)
            return qCompress(all).mid(4);
        const qsizetype rowSize = all.size() / (size.height() * channels.size());
        QByteArray counts;
        QByteArray rows;
        for (qsizetype i = 0; i < all.size(); i += rowSize) {
            const QByteArray row = packBits(all.mid(i, rowSize));
            counts += isLarge ? number(quint32(row.size())) : number(quint16(row.size()));
            rows += row;
        }
        return counts + rows;
    }
};

#include "support/RKProcessCost.h"
#include "support/RKQuietTest.h"

#include <QTemporaryDir>
#include <QtEndian>

#include <zlib.h>

#include <array>

namespace {

constexpr qint64 kMaxMilliseconds = RKTimeLimit::milliseconds(2000);
// Sanitizers hold freed memory back, and have a byte of their own for eight others.
constexpr qint64 kMaxMebibytes = 256 * (RKTimeLimit::kSanitizerFactor > 1 ? 8 : 1);

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

QByteArray zeros(qint64 size)
{
    // Without the length that qCompress() puts before.
    return qCompress(QByteArray(size, '\0')).sliced(4);
}

QByteArray chunk(const QByteArray& type, const QByteArray& content)
{
    const QByteArray checked = type + content;
    const auto* const bytes = reinterpret_cast<const Bytef*>(checked.data());
    return bigEndian(quint32(content.size())) + checked
        + bigEndian(quint32(crc32(0, bytes, uInt(checked.size()))));
}

QByteArray pngHead(int side, int depth, int colorType)
{
    return "\x89PNG\r\n\x1a\n"
        + chunk("IHDR",
            bigEndian(quint32(side)) + bigEndian(quint32(side)) + char(depth) + char(colorType)
                + QByteArray(3, '\0'));
}

// A black picture, with other chunks before its pixels.
QByteArray png(int side, int depth, int colorType, const QByteArray& others = {})
{
    const qint64 channels = colorType == 2 ? 3 : 1;
    return pngHead(side, depth, colorType) + others
        + chunk("IDAT", zeros((1 + side * channels * depth / 8) * side)) + chunk("IEND", {});
}

// A chunk that says to have two gigabytes.
QByteArray longChunk(const QByteArray& type)
{
    return bigEndian(0x7ffffff0) + type + QByteArray(64, 'x');
}

QByteArray icon(const QByteArray& picture)
{
    return QByteArray::fromHex("000001000100202000000100200000000000") + QByteArray("\x16\0\0\0", 4)
        + picture;
}

QByteArray tiff(int side, int compression, int bits, const QByteArray& strip)
{
    const std::array<std::pair<int, qint64>, 9> entries{{{256, side},
        {257, side},
        {258, bits},
        {259, compression},
        {262, bits == 1 ? 1 : 2},
        {273, 8 + 2 + 9 * 12 + 4},
        {277, bits == 1 ? 1 : 3},
        {278, side},
        {279, strip.size()}}};
    QByteArray file = QByteArray("MM\0*", 4) + bigEndian(8) + QByteArray("\0\x09", 2);
    for (const auto& [tag, value] : entries)
        file += bigEndian(quint32(tag) << 16 | 4) + bigEndian(1) + bigEndian(quint32(value));
    return file + bigEndian(0) + strip;
}

QByteArray svg(const QByteArray& content, const QByteArray& type = {})
{
    return type
        + "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
          "width='400' height='400' viewBox='0 0 400 400'>"
        + content + "</svg>";
}

QByteArray inlinePicture(const QByteArray& type, const QByteArray& data)
{
    return "<image id='i' width='400' height='400' xlink:href='data:image/" + type + ";base64,"
        + data.toBase64() + "'/>";
}

QByteArray psd(int side)
{
    return "8BPS" + QByteArray("\0\1\0\0\0\0\0\0\0\3", 10) + bigEndian(quint32(side))
        + bigEndian(quint32(side)) + QByteArray("\0\x08\0\x03", 4) + QByteArray(12, '\0')
        + QByteArray("\0\2", 2) + zeros(3LL * side * side);
}

constexpr const char* kClaims = "its header promises more than its data can hold";
constexpr const char* kChunk = "a chunk claims more bytes than the file has";
constexpr const char* kReduce = "making it smaller takes too much memory or time";
constexpr const char* kPainting = "painting it takes too long";
constexpr const char* kNoFailure = nullptr;

} // namespace

/// Small files that ask for much: whatever the tool is asked for, it costs little, and a picture
/// that is not made has a reason.
class RKHostileFilesTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void costsAreBounded_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("reason"); // empty where a picture comes out
        const auto row
            = [](const char* what, const char* format, const QByteArray& file, const char* reason) {
                  QTest::newRow(what) << QString(QLatin1String("x.") + QLatin1String(format))
                                      << file << QString::fromLatin1(reason);
              };

        for (const char* type : {"tEXt", "zTXt", "iTXt", "sPLT", "pCAL", "sCAL", "abCD"})
            row(type, "png", pngHead(32, 8, 2) + longChunk(type), kChunk);
        row("text cut off", "png", png(32, 8, 2).chopped(12) + longChunk("tEXt"), kNoFailure);
        QByteArray texts;
        for (int i = 0; i < 60; ++i)
            texts += chunk(
                "zTXt", "k" + QByteArray::number(i) + QByteArray(2, '\0') + zeros(7'900'000));
        row("many texts", "png", png(64, 8, 2, texts), kNoFailure);
        row("icon", "ico", icon(pngHead(32, 8, 2) + longChunk("tEXt")), kClaims);
        row("grey", "png", png(16384, 8, 0), kReduce);
        row("plain", "png", png(8000, 8, 2), kNoFailure);
        row("deflated", "tif", tiff(8192, 8, 8, zeros(1000)), kClaims);
        row("deflated, padded",
            "tif",
            tiff(16384, 8, 8, zeros(1000)) + QByteArray(900'000, 'x'),
            kClaims);
        row("LZW", "tif", tiff(20'000, 5, 8, QByteArray(100, 'x')), kClaims);
        row("run lengths", "tif", tiff(20'000, 32773, 8, QByteArray(100, 'x')), kClaims);
        row("fax", "tif", tiff(32'000, 4, 1, QByteArray(100, 'x')), kClaims);
        row("plain", "psd", psd(3000), kNoFailure);

        row("chunk inside",
            "svg",
            svg(inlinePicture("png", pngHead(32, 8, 2) + longChunk("tEXt"))),
            kNoFailure);
        row("bomb inside",
            "svg",
            svg(inlinePicture("tiff", tiff(16384, 8, 8, zeros(9)))),
            kNoFailure);
        row("drawing inside",
            "svg",
            svg(inlinePicture("svg+xml",
                svg({}).replace("width='400' height='400'", "width='16000' height='16000'"))),
            "too many pixels in the pictures inside it");
        const QByteArray square = "<rect width='400' height='400' opacity='.5'/>";
        row("entities",
            "svg",
            svg(QByteArray("&a;").repeated(1800),
                "<!DOCTYPE svg [<!ENTITY a \"" + square.repeated(20) + "\">]>"),
            kPainting);
        row("uses",
            "svg",
            svg(inlinePicture("png", png(4000, 1, 0))
                + QByteArray("<use xlink:href='#i'/>").repeated(3000)),
            kPainting);
        QByteArray rules;
        QByteArray path = "M0 0";
        for (int i = 0; i < 20'000; ++i) {
            const QByteArray number = QByteArray::number(i);
            rules += i < 2000 ? ".c" + number + ",.d" + number + "{fill:#000}" : QByteArray();
            path += 'L' + QByteArray::number(i * 319 % 400) + ' '
                + QByteArray::number(i * 329 % 400);
        }
        row("rules",
            "svg",
            svg("<style>" + rules + "</style>" + QByteArray("<rect class='c5'/>").repeated(8000)),
            "too many style rules for its elements");
        row("crossings", "svg", svg("<path d='" + path + "'/>"), kPainting);
    }

    void costsAreBounded()
    {
        QFETCH(const QString, name);
        QFETCH(const QByteArray, file);
        QFETCH(const QString, reason);

        const QTemporaryDir folder;
        const QString source = folder.filePath(name);
        QFile device(source);
        QVERIFY(device.open(QIODevice::WriteOnly) && device.write(file) == file.size());
        device.close();

        const QString target = folder.filePath(QStringLiteral("y.png"));
        const auto words
            = [](const char* command) { return QString::fromLatin1(command).split(u' '); };
        const QList<QStringList> commands{words("info") + QStringList{source},
            words("thumb --size 160 --out") + QStringList{folder.path(), source},
            words("convert --size 400x400") + QStringList{source, target}};
        for (const QStringList& command : commands) {
            const RKProcessCost::Result result = RKProcessCost::run(
                QStringLiteral(RK_TOOL), command, folder.filePath(QStringLiteral("messages")));
            const QByteArray said = command.first().toLatin1() + ' '
                + QByteArray::number(result.workedMilliseconds) + " ms "
                + QByteArray::number(result.mebibytes) + " MiB " + result.messages.toUtf8();
            QVERIFY2(result.workedMilliseconds < kMaxMilliseconds, said);
            QVERIFY2(result.mebibytes < kMaxMebibytes, said);
            // Measuring is possible for most files that can't be decoded.
            if (command.first() == QLatin1String("info") && result.exitCode == 0)
                continue;
            QCOMPARE(result.exitCode, reason.isEmpty() ? 0 : 1);
            const bool isExplained = result.messages.contains(QLatin1String("rkimage: "))
                && (command.first() == QLatin1String("info") || result.messages.contains(reason));
            QVERIFY2(reason.isEmpty() || isExplained, said);
        }
    }
};

QTEST_GUILESS_MAIN(RKHostileFilesTest)
#include "RKHostileFilesTest.moc"

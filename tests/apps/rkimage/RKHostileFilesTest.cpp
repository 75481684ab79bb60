#include "support/RKProcessCost.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtEndian>

#include <zlib.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

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

QByteArray sidecar(const QByteArray& content)
{
    return "<x:xmpmeta xmlns:x='adobe:ns:meta/'>"
           "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
           "<rdf:Description xmlns:dc='http://purl.org/dc/elements/1.1/' "
           "xmlns:MP='http://ns.microsoft.com/photo/1.2/' "
           "xmlns:MPRI='http://ns.microsoft.com/photo/1.2/t/RegionInfo#' "
           "xmlns:MPReg='http://ns.microsoft.com/photo/1.2/t/Region#'>"
        + content + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

// The fixture's own bytes; those of a compressed one after decompression.
QByteArray fixture(const QString& name)
{
    const QByteArray path = QByteArray(RK_TEST_DATA "/hostile/") + name.toLatin1();
    const gzFile file = gzopen(path.constData(), "rb");
    QByteArray bytes(4 << 20, '\0');
    bytes.resize(std::max(0, gzread(file, bytes.data(), unsigned(bytes.size()))));
    gzclose(file);
    return bytes;
}

// A picture whose Exif block has another file for a thumbnail (Exif 2.32, 4.5.4).
QByteArray withThumbnail(const QByteArray& thumbnail)
{
    const QByteArray jpeg = RKTestPictures::encoded(RKTestPictures::quadrants({64, 64}), "JPG");
    const QByteArray exif = "Exif" + QByteArray(2, '\0') + "MM" + QByteArray("\0*", 2)
        + bigEndian(8) + QByteArray(2, '\0') + bigEndian(14) + QByteArray("\0\x03", 2)
        + bigEndian(0x01030003) + bigEndian(1) + bigEndian(6 << 16) + bigEndian(0x02010004)
        + bigEndian(1) + bigEndian(56) + bigEndian(0x02020004) + bigEndian(1)
        + bigEndian(quint32(thumbnail.size())) + bigEndian(0) + thumbnail;
    return jpeg.first(2) + "\xff\xe1" + bigEndian(quint32(exif.size() + 2)).sliced(2) + exif
        + jpeg.sliced(2);
}

QByteArray psd(int side, int sideOfPixels)
{
    return "8BPS" + QByteArray("\0\1\0\0\0\0\0\0\0\3", 10) + bigEndian(quint32(side))
        + bigEndian(quint32(side)) + QByteArray("\0\x08\0\x03", 4) + QByteArray(12, '\0')
        + QByteArray("\0\2", 2) + zeros(3LL * sideOfPixels * sideOfPixels);
}

// What the tool does costs little; its exit code and its messages.
RKProcessCost::Result runCheaply(const QStringList& arguments, const QTemporaryDir& folder)
{
    const RKProcessCost::Result result = RKProcessCost::run(
        QStringLiteral(RK_TOOL), arguments, folder.filePath(QStringLiteral("messages")));
    const QByteArray said = arguments.join(u' ').toUtf8() + ' '
        + QByteArray::number(result.workedMilliseconds) + " ms "
        + QByteArray::number(result.mebibytes) + " MiB " + result.messages.toUtf8();
    [&] {
        QVERIFY2(result.workedMilliseconds < kMaxMilliseconds, said);
        QVERIFY2(result.mebibytes < kMaxMebibytes, said);
        QVERIFY2(result.exitCode == 0 || result.exitCode == 1, said);
    }();
    return result;
}

constexpr const char* kClaims = "more than the file can hold";
constexpr const char* kCutOff = "The file ends before its picture does";
constexpr const char* kReduce = "Making the picture smaller takes too much memory or time";
constexpr const char* kDrawing = "elements that draw each other too often";
constexpr const char* kMemory = "too much memory for its length";
constexpr const char* kNoPicture = "The format is not supported";
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
        QTest::addColumn<QString>("reason"); // empty where a whole picture comes out
        const auto row
            = [](const char* what, const char* format, const QByteArray& file, const char* reason) {
                  QTest::newRow(what) << QString(QLatin1String("x.") + QLatin1String(format))
                                      << file << QString::fromLatin1(reason);
              };

        const auto committed = [](const char* name, const char* reason) {
            const QString file = QString::fromLatin1(name);
            // What is compressed as a whole was no picture before.
            const QString suffix = QFileInfo(file).suffix();
            QTest::newRow(name) << QString(u"x."_s + (suffix == u"gz" ? u"xmp"_s : suffix))
                                << fixture(file) << QString::fromLatin1(reason);
        };
        committed("deflate-8192.tif", kClaims);
        committed("deflate-16384.tif", kClaims);
        committed("long-text-chunk.png", kCutOff);
        committed("long-palette-chunk.png", kCutOff);
        committed("long-chunk.ico", kCutOff);
        committed("inline-long-chunk.svg", kNoFailure);
        committed("inline-deflate.svg", kNoFailure);
        committed("inline-drawing-16000.svg", "too many pixels in the pictures inside it");
        committed("entities.svg", "takes too long to paint");
        committed("list-items.xmp.gz", kNoPicture);

        for (const char* type : {"zTXt", "iTXt", "sPLT", "pCAL", "sCAL", "abCD"})
            row(type, "png", pngHead(32, 8, 2) + longChunk(type), kCutOff);
        row("text cut off", "png", png(32, 8, 2).chopped(12) + longChunk("tEXt"), kCutOff);
        QByteArray texts;
        for (int i = 0; i < 60; ++i)
            texts += chunk(
                "zTXt", "k" + QByteArray::number(i) + QByteArray(2, '\0') + zeros(7'900'000));
        row("many texts", "png", png(64, 8, 2, texts), kNoFailure);
        row("grey", "png", png(16384, 8, 0), kReduce);
        row("plain", "png", png(8000, 8, 2), kNoFailure);
        row("to be converted", "png", png(12'000, 8, 0), kNoFailure);
        row("deflated, padded",
            "tif",
            tiff(16384, 8, 8, zeros(1000)) + QByteArray(900'000, 'x'),
            kClaims);
        row("deflated", "tif", tiff(8000, 8, 8, zeros(192'000'000)), kNoFailure);
        row("LZW", "tif", tiff(20'000, 5, 8, QByteArray(100, 'x')), kClaims);
        row("run lengths", "tif", tiff(20'000, 32773, 8, QByteArray(100, 'x')), kClaims);
        row("fax", "tif", tiff(32'000, 4, 1, QByteArray(100, 'x')), kClaims);
        const QByteArray mngHead = "\x8aMNG\r\n\x1a\n"
            + chunk("MHDR",
                bigEndian(2000) + bigEndian(2000) + bigEndian(100) + QByteArray(12, '\0')
                    + bigEndian(1));
        const QByteArray onePixel = png(1, 8, 2).sliced(8);
        const QByteArray clearing = chunk("BACK", QByteArray(10, '\0')) + chunk("FRAM", "\3");
        const QByteArray undelayed = chunk("FRAM", QByteArray("\3\0\2\0\0\0\0\0\0\0", 10));
        row("cleared canvas", "mng", mngHead + clearing.repeated(20'000) + onePixel, kNoFailure);
        row("layers without delay",
            "mng",
            mngHead + undelayed + onePixel.repeated(20'000),
            kNoFailure);
        row("plain", "psd", psd(5000, 5000), kNoFailure);
        row("one plane of many", "psd", psd(10'000, 5'000), kClaims);
        const QByteArray jpeg = withThumbnail({});
        row("segments",
            "jpg",
            jpeg.first(2) + QByteArray("\xff\xe5\0\4ab", 6).repeated(60'000) + jpeg.sliced(2),
            "too many segments");
        row("drawing as a thumbnail", "jpg", withThumbnail(fixture(u"entities.svg"_s)), kNoFailure);
        row("huge thumbnail", "jpg", withThumbnail(png(6000, 1, 0)), kNoFailure);

        row("sections of text",
            "svg",
            svg("<text>" + QByteArray("<![CDATA[a]]>").repeated(40'000) + "</text>"),
            kDrawing);
        row("colours of a gradient",
            "svg",
            svg("<linearGradient id='g'>" + QByteArray("<stop offset='.5'/>").repeated(80'000)
                + "</linearGradient>"),
            kDrawing);
        row("keywords",
            "xmp",
            sidecar("<dc:subject><rdf:Bag>" + QByteArray("<rdf:li>a</rdf:li>").repeated(20'000)
                + "</rdf:Bag></dc:subject>"),
            kNoPicture);
        row("faces",
            "xmp",
            sidecar("<MP:RegionInfo rdf:parseType='Resource'><MPRI:Regions><rdf:Bag>"
                + QByteArray("<rdf:li MPReg:PersonDisplayName='a' "
                             "MPReg:Rectangle='.1, .1, .2, .2'/>")
                      .repeated(3000)
                + "</rdf:Bag></MPRI:Regions></MP:RegionInfo>"),
            kNoPicture);
        row("small paths", "svg", svg(QByteArray("<path d='M0 0h9'/>").repeated(100'000)), kMemory);
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
            words("convert --overwrite --size 400x400") + QStringList{source, target},
            words("clip --center --production 1000x1000 --dpi 100") + QStringList{source, target},
            // The last, for it may change the file.
            words("set --rating 3 --add-keyword b") + QStringList{source}};
        for (const QStringList& command : commands) {
            const RKProcessCost::Result result = runCheaply(command, folder);
            if (QTest::currentTestFailed())
                return;
            // Measuring and describing is possible for most files that can't be decoded.
            const bool isDecoded = command.first() != QLatin1String("info")
                && command.first() != QLatin1String("set");
            if (!isDecoded && result.exitCode == 0)
                continue;
            const QByteArray said = command.first().toLatin1() + ": " + result.messages.toUtf8();
            QVERIFY2(result.exitCode == (isDecoded && reason.isEmpty() ? 0 : 1), said);
            const QStringList lines = result.messages.trimmed().split(u'\n');
            const bool isExplained = lines.size() == 1 + (command.first() == QLatin1String("thumb"))
                && lines.first().startsWith(QLatin1String("rkimage: "))
                && (!isDecoded || lines.first().contains(reason));
            QVERIFY2(result.exitCode == 0 || isExplained, said);
        }
    }

    void brokenSamplesAreCheap()
    {
        QStringList files;
        for (const QString& folder : {u"/broken"_s, u"/../hostile"_s}) {
            QDirIterator found(QStringLiteral(RK_SAMPLES) + folder, QDir::Files);
            while (found.hasNext())
                files << found.next();
        }
        if (files.isEmpty())
            QSKIP("no samples");
#ifndef NDEBUG
        QSKIP("costs are those of optimised code");
#endif
        // Sanitizers take too long for all of them.
        const int step = RKTimeLimit::kSanitizerFactor > 1 ? 16 : 1;
        const QTemporaryDir folder;
        for (int i = 0; i < files.size() && !QTest::currentTestFailed(); i += step) {
            runCheaply({u"info"_s, files[i]}, folder);
            runCheaply({u"convert"_s,
                           u"--overwrite"_s,
                           u"--size"_s,
                           u"400x400"_s,
                           files[i],
                           folder.filePath(u"y.png"_s)},
                folder);
        }
    }
};

QTEST_GUILESS_MAIN(RKHostileFilesTest)
#include "RKHostileFilesTest.moc"

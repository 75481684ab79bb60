#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/guards/RKCssReferences_p.h"
#include "RKImageLoader/guards/RKGzip_p.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QDir>
#include <QLoggingCategory>
#include <QPainter>
#include <QStringEncoder>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QtEndian>

#include <sys/stat.h>
#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

// The most is the time that a document of the largest size takes; a bomb takes minutes.
constexpr qint64 kSoon = RKTimeLimit::milliseconds(2000);

const QByteArray kHead
    = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
      "width='60' height='60' viewBox='0 0 60 60'>";

QByteArray document(const QByteArray& content)
{
    return kHead + content + "</svg>";
}

QByteArray gzip(const QByteArray& data)
{
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    QByteArray result(qsizetype(deflateBound(&stream, uLong(data.size()))), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = uInt(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return result;
}

QImage rendered(const QByteArray& svg)
{
    QSvgRenderer renderer(svg);
    const QSize size = renderer.defaultSize().expandedTo({8, 8}).boundedTo({1500, 1500});
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return renderer.isValid() ? image : QImage();
}

// Copies of a text, in which % stands for their number and @ for the one before.
QByteArray times(const QByteArray& text, qint64 count)
{
    if (!text.contains('%'))
        return text.repeated(count);
    QByteArray result;
    for (qint64 i = 1; i <= count; ++i) {
        QByteArray copy = text;
        copy.replace('%', QByteArray::number(i)).replace('@', QByteArray::number(i - 1));
        result += copy;
    }
    return result;
}

QByteArray utf16(const QByteArray& utf8)
{
    return QStringEncoder(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom)
        .encode(QString::fromUtf8(utf8));
}

void expectRefusal(const char* reason)
{
    QTest::ignoreMessage(
        QtWarningMsg, qPrintable(QLatin1String("SVG document refused: ") + QLatin1String(reason)));
}

QByteArray inlineImage(const QByteArray& data, const QByteArray& type = "image/png")
{
    return "<image width='60' height='60' xlink:href='data:" + type + ";base64," + data.toBase64()
        + "'/>";
}

const QByteArray kRedSquare = "<rect width='60' height='60' fill='#ff0000'/>";

} // namespace

/// What harmless documents keep, what others lose, and which are refused.
class RKSvgSanitizerTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        // Qt's renderer tells of pictures and colours that are missing.
        QLoggingCategory::setFilterRules(u"qt.svg.warning=false"_s);
    }

    void harmlessDocumentsLookTheSame()
    {
        const QByteArray png = RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG");
        QByteArrayList documents{utf16("<?xml version='1.0' encoding='UTF-16'?>"
                                     + document("<text y='30'>\xc3\xa4</text>")),
            document(inlineImage(document(kRedSquare), "image/svg+xml") + inlineImage(png))};
        const QDir folder(QStringLiteral(RK_TEST_DATA "/svg"));
        for (const QString& name : folder.entryList(QDir::Files))
            documents.append(RKTestPictures::read(folder.filePath(name)));
        QVERIFY(documents.size() > 2);
        for (const QByteArray& svg : std::as_const(documents)) {
            const QImage expected = rendered(svg);
            QVERIFY(!expected.isNull());
            QCOMPARE(rendered(RKSvgSanitizer::sanitized(svg)), expected);
        }
    }

    void textKeepsItsCharacters()
    {
        const QByteArray svg = document("<text a='&#10;&#9;\"' xml:space='preserve'>  a\n\tb&gt;"
                                        "<![CDATA[<&]]></text>");
        const QByteArray result = RKSvgSanitizer::sanitized(svg);
        QVERIFY2(result.contains("<text a=\"&#10;&#9;&quot;\" xml:space=\"preserve\">  a\n\tb&gt;"
                                 "<![CDATA[<&]]></text>"),
            result.constData());
        QCOMPARE(RKSvgSanitizer::sanitized(result), result);

        // Drawing programs declare their name spaces in this way.
        const QByteArray declared
            = "<!DOCTYPE svg PUBLIC '-//W3C//DTD SVG 1.1//EN' 'http://www.w3.org/svg11.dtd' ["
              "<!ENTITY ns 'http://www.w3.org/2000/svg'><!ENTITY in '&c;'><!ENTITY c '#00f'>"
              "<!ENTITY out SYSTEM 'file:///etc/hostname'>]><svg xmlns='&ns;' width='60'>"
              "<rect width='9' height='9' fill='&in;'/><text>a&out;b</text></svg>";
        QCOMPARE(RKSvgSanitizer::sanitized(declared),
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"60\">"
            "<rect width=\"9\" height=\"9\" fill=\"#00f\"/><text>ab</text></svg>");
    }

    void compressedDocumentsAreRead()
    {
        const QByteArray svg = document(kRedSquare);
        const QByteArray half = svg.left(svg.size() / 2);
        const QByteArrayList files{
            gzip(svg), gzip(half) + gzip(svg.mid(half.size())), gzip(svg) + QByteArray(512, '\0')};
        for (const QByteArray& compressed : files)
            QCOMPARE(RKSvgSanitizer::sanitized(compressed), RKSvgSanitizer::sanitized(svg));

        const QByteArray data(100'000, 'x');
        QCOMPARE(RKGzip::inflated(gzip(data), data.size()), data);
        QVERIFY(!RKGzip::inflated(gzip(data), data.size() - 1));
        QVERIFY(!RKGzip::inflated(gzip(data).chopped(1), data.size()));
        QCOMPARE(RKGzip::inflated(gzip({}), 0), QByteArray());
    }

    void outsideReferencesAreDropped()
    {
        for (const char* content : {"<image xlink:href='OUTSIDE' width='9' height='9'/>",
                 "<image l:HREF='OUTSIDE'/>",
                 // Data in capitals, which Qt takes for a file, and data that aren't base64.
                 "<image xlink:href='DATA:OUTSIDE;base64,AAAA'/>",
                 "<image xlink:href='data:image/svg+xml,OUTSIDE'/>",
                 "<use xlink:href='OUTSIDE.svg#a'/>",
                 "<foreignObject><img src='OUTSIDE'/></foreignObject>",
                 "<g xml:base='OUTSIDE'/>",
                 "<rect fill='url(OUTSIDE#a)' filter='url( \"OUTSIDE\" )'/>",
                 "<rect style='fill:URL(OUTSIDE)'/>",
                 "<style>a{fill:ur<![CDATA[l(OUTSI]]>DE)}<g>@import 'OUTSIDE';</g></style>",
                 "<?xml-stylesheet type=\"text/css\" href=\"OUTSIDE\"?>"})
        {
            const QByteArray result = RKSvgSanitizer::sanitized(document(content + kRedSquare));
            QVERIFY2(!result.contains("OUTSI") && result.contains("#ff0000"), result.constData());
        }
    }

    void styleSheetsKeepAllButOutsideReferences()
    {
        // Null for no change.
        constexpr std::pair<const char*, const char*> kCases[] = {
            {"a { fill : url( #b ) } /* url(x) */ .c::before { content: 'url(x)' \"\\\"url(x)\" }",
                nullptr},
            {"a{fill:url('#b');mask:url(data:image/png;base64,AA==)}", nullptr},
            {"@media print{a{x:curl(x)}} @important{x:url-x(y)}", nullptr},
            {"\\", nullptr},
            {"a{b:uRl( \"x)\" ) c}", "a{b:url(#) c}"},
            {"a{b:\\75 r\\00006C(x)}", "a{b:url(#)}"},
            {"a{b:\\url(x)}", "a{b:url(#)}"},
            {"a{b:url(\\) x)}", "a{b:url(#)}"},
            {"a{b:url(x", "a{b:url(#)"},
            {"a{b:'open\nurl(x)}", "a{b:'open\nurl(#)}"},
            {"@import 'a;b';c{}", "c{}"},
            {"@IMPORT url(a;b) screen;c{}", "c{}"},
            {"@\\69mport \"a\"", ""},
        };
        for (const auto& [css, expected] : kCases) {
            QCOMPARE(RKCssReferences::withoutExternal(QString::fromLatin1(css)),
                QString::fromLatin1(expected ? expected : css));
        }
    }

    void outsideFilesAreNotOpened()
    {
        const QTemporaryDir folder;
        const QByteArray pipe = folder.filePath(u"pipe"_s).toUtf8();
        QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
        // A renderer that opened the pipe would wait for ever.
        const QByteArray svg = gzip(
            document("<image width='60' height='60' xlink:href='" + pipe + "'/>" + kRedSquare));
        const RKDrawable drawable(svg);
        QCOMPARE(drawable.scaled({30, 30}).image().pixel(15, 15), 0xffff0000);
        QCOMPARE(drawable.svg(), svg);
    }

    void inlinePicturesAreChecked()
    {
        const auto kept = [](const QByteArray& images) {
            return RKSvgSanitizer::sanitized(document(images)).count("base64");
        };
        // The header claims 40000 x 40000 pixels, and has the checksum of that.
        QByteArray bomb = RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG");
        bomb.replace(16, 8, QByteArray::fromHex("00009c4000009c40"));
        const QByteArray header = bomb.sliced(12, 17);
        qToBigEndian(
            quint32(crc32(0, reinterpret_cast<const Bytef*>(header.data()), 17)), bomb.data() + 29);
        QCOMPARE(kept(inlineImage(bomb)), 0);
        // All of them together have a limit: 12 pictures of 4 megapixels.
        QImage large(2048, 2048, QImage::Format_Mono);
        large.fill(0);
        const QByteArray image = inlineImage(RKTestPictures::encoded(large, "PNG"));
        QCOMPARE(kept(image.repeated(12)), 12);
        // A drawing's own size decides on the pixels that it is rendered to, and on their cost.
        const QByteArray head = "<svg xmlns='http://www.w3.org/2000/svg' width='7000' height='";
        const QByteArray square = "<rect width='7000' height='7000'/>";
        QCOMPARE(kept(inlineImage(head + "7000'>" + square + "</svg>")), 1);
        for (const auto& [images, reason] :
            {std::pair{image.repeated(13), "too many pixels in the pictures inside it"},
                {inlineImage(head + "7200'/>"), "too many pixels in the pictures inside it"},
                {inlineImage(head + "7000'>" + square.repeated(50) + "</svg>"),
                    "painting a drawing inside it takes too long"}})
        {
            expectRefusal(reason);
            QCOMPARE(kept(images), 0);
        }
    }

    void paintingHasALimit()
    {
        // Points of a line to and fro over the whole drawing.
        const auto zigzag = [](int points) -> QByteArray {
            QByteArray path = "M0 0";
            for (int i = 1; i <= points; ++i)
                path += " L" + QByteArray::number(i * 37 % 60) + ' '
                    + QByteArray::number(i * 23 % 60);
            return "<path d='" + path + "'/>";
        };
        const QByteArray picture
            = "<image id='i' width='60' height='60' xlink:href='data:image/png;base64,"
            + RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG").toBase64()
            + "'/>";
        const QByteArray map = "<path fill='none' stroke='#000' stroke-width='.1' d='M1 1"
            + QByteArray("l3 2-2 1 1-4z").repeated(50) + "'/>";

        struct Case
        {
            QByteArray content;
            bool isAccepted;
        };

        const Case cases[] = {
            {kRedSquare.repeated(3000), true},
            {kRedSquare.repeated(10'000), false},
            // However it is that a shape gets its size.
            {"<g transform='scale(60)'>"
                    + QByteArray("<rect width='1' height='1'/>").repeated(10'000) + "</g>",
                false},
            {QByteArray("<rect width='1' height='1'/>").repeated(10'000), true},
            {QByteArray("<path d='M0 30h60' stroke='#000' stroke-width='60'/>").repeated(10'000),
                false},
            {picture + QByteArray("<use xlink:href='#i'/>").repeated(100), true},
            {picture + QByteArray("<use xlink:href='#i'/>").repeated(3000), false},
            {zigzag(500), true},
            {zigzag(20'000), false},
            {map.repeated(1000), true},
            {"<linearGradient>" + times("<stop/>", 100) + "</linearGradient>", true},
            {"<path d='M0 30h60' stroke='#000' stroke-dasharray='.00001 .00001'/>", false},
            {QByteArray("<text y='50' font-size='9'>Text</text>").repeated(30), true},
            {QByteArray("<text y='50' font-size='60'>WWWW</text>").repeated(2000), false},
        };
        for (const Case& c : cases) {
            if (!c.isAccepted)
                expectRefusal("painting it takes too long");
            QCOMPARE(!RKDrawable(document(c.content)).isNull(), c.isAccepted);
        }
    }

    void inlineDrawingsAreSanitized()
    {
        const QByteArray outside = document("<image width='9' height='9' xlink:href='/etc/x'/>");
        const QByteArray result
            = RKSvgSanitizer::sanitized(document(inlineImage(outside, "image/svg+xml")));
        const qsizetype code = result.indexOf("base64,") + 7;
        const QByteArray inner
            = QByteArray::fromBase64(result.sliced(code, result.indexOf('"', code) - code));
        QVERIFY(inner.contains("<image") && !inner.contains("/etc/x"));
    }

    void limitsHoldOnBothSides()
    {
        // As many units as are allowed, each with its end, and one more.
        const auto limit = [](const char* reason,
                               const QByteArray& begin,
                               const QByteArray& unit,
                               qint64 most,
                               const QByteArray& endOfUnit = {},
                               const QByteArray& end = "</svg>") {
            const auto make = [&](qint64 n) -> QByteArray {
                return begin + times(unit, n) + times(endOfUnit, n) + end;
            };
            QVERIFY2(!RKSvgSanitizer::sanitized(make(most)).isEmpty(), reason);
            expectRefusal(reason);
            QVERIFY2(RKSvgSanitizer::sanitized(make(most + 1)).isEmpty(), reason);
        };
        using S = RKSvgSanitizer;
        const QByteArray type = "<!DOCTYPE svg [";
        const QByteArray empty = document({});
        // The root counts too.
        limit("too many elements", kHead, "<g/>", S::kMaxElements - 1);
        limit("too many elements inside one another", kHead, "<g>", S::kMaxDepth - 1, "</g>");
        limit("too many attributes", kHead + "<g", " a%='='", S::kMaxAttributes, {}, "/></svg>");
        limit("too many bytes", kHead, " ", S::kMaxBytes - empty.size());
        limit("too many entities", type, "<!ENTITY a 'b'>", S::kMaxEntities, {}, "]>" + empty);
        limit("too many references to entities",
            type + "<!ENTITY a 'b'>]>" + kHead,
            "&a;",
            S::kMaxBytes / S::kMaxEntityExpansion);
        limit("too many attribute declarations",
            type + "<!ATTLIST g a CDATA '",
            "x",
            S::kMaxAttributeDeclarations - qstrlen("!ATTLIST g a CDATA ''>]>"),
            {},
            "'>]>" + empty);
        // A rule has two selectors' worth here. The elements are the root, the style and the rest.
        limit("too many style rules for its elements",
            kHead + "<style>" + times("a {}", 1000) + "</style>",
            "<g/>",
            S::kMaxStyleMatches / 2000 - 2);
        // Every step draws ten times what the one before draws.
        const QByteArray first = kHead + "<defs><rect id='u0' width='1' height='1'/>";
        limit("elements that draw each other too often",
            first,
            "<g id='u%'>" + QByteArray("<use xlink:href='#u@'/>").repeated(10) + "</g>",
            5,
            {},
            "</defs></svg>");
        // 1 for each element, and that of all that is drawn: half a million.
        limit("elements that draw each other too often",
            kHead + "<g id='a'>" + times("<g/>", 998) + "</g>",
            "<use xlink:href='#a'/>",
            499);
        // A chain of 50000 overflows the stack of Qt's renderer. The other reference and the other
        // identifier must not hide it.
        limit("elements that draw each other too often",
            first + "</defs>",
            "<use id='u%' a:id='x' xlink:href='#u@' href='#x'/>",
            255);
    }

    void brokenDocumentsAreRefused()
    {
        struct Case
        {
            QByteArray svg;
            const char* reason = nullptr;
        };

        const QByteArray type = "<!DOCTYPE svg [";
        // A billion laughs.
        const QByteArray laughs = type + "<!ENTITY e0 'ha'>"
            + times("<!ENTITY e% '&e@;&e@;&e@;&e@;&e@;&e@;&e@;&e@;&e@;&e@;'>", 29) + "]>";
        constexpr const char* kCompression = "damaged compression or too many bytes";
        const Case cases[] = {
            {{}},
            {"GIF89a"},
            {document({}) + "<g/>"},
            {document("&a;")},
            {type + "<!ENTITY a '&b;'><!ENTITY b '&a;'>]>" + document("&a;")},
            {laughs + document("<text>&e29;</text>")},
            {type + "<!ENTITY a '" + QByteArray(2000, 'x') + "'>]>" + document("&a;")},
            {document(QByteArray("\0", 1)), "a null character"},
            {gzip(document(kRedSquare)).chopped(12), kCompression},
            {gzip(document(QByteArray(70 << 20, ' '))), kCompression},
            {gzip(gzip(document({}))), "a null character"},
            // Markup in two bytes a character is counted too.
            {utf16(document("<g" + times(" a%='='", RKSvgSanitizer::kMaxAttributes + 1) + "/>")),
                "too many attributes"},
        };
        for (const Case& c : cases) {
            if (c.reason)
                expectRefusal(c.reason);
            const qint64 start = RKTimeLimit::worked();
            QVERIFY2(RKSvgSanitizer::sanitized(c.svg).isEmpty(), c.svg.left(80));
            QVERIFY2(RKTimeLimit::worked(start) < kSoon, c.svg.left(80));
        }
    }
};

QTEST_MAIN(RKSvgSanitizerTest)
#include "RKSvgSanitizerTest.moc"

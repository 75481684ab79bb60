#include "RKImageLoader/drawables/RKCssReferences_p.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/drawables/RKGzip_p.h"
#include "RKImageLoader/drawables/RKSvgSanitizer_p.h"
#include "support/RKTestPictures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QPainter>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <sys/stat.h>
#include <zlib.h>

namespace {

constexpr qint64 kSoon = 1000; // ms

const QByteArray kHead
    = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
      "width='60' height='60' viewBox='0 0 60 60'>";

QByteArray document(const QByteArray& content)
{
    return kHead + content + "</svg>";
}

QByteArray repeated(const QByteArray& text, int count)
{
    return text.repeated(count);
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
    if (!renderer.isValid())
        return {};
    const QSize size = renderer.defaultSize().expandedTo({8, 8}).boundedTo({1500, 1500});
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image;
}

QByteArray inlineImage(const QByteArray& data, const QByteArray& type = "image/png")
{
    return "<image width='60' height='60' xlink:href='data:" + type + ";base64," + data.toBase64()
        + "'/>";
}

const QByteArray kRedSquare = "<rect width='60' height='60' fill='#ff0000'/>";

} // namespace

/// What harmless documents keep, what others lose, and which are refused.
class RKSvgSanitizerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void samplesLookTheSame_data();
    void samplesLookTheSame();
    void harmlessDocumentsLookTheSame_data();
    void harmlessDocumentsLookTheSame();
    void textKeepsItsCharacters();
    void internalEntitiesAreResolved();
    void compressedDocumentsAreRead();

    void outsideReferencesAreDropped_data();
    void outsideReferencesAreDropped();
    void styleSheetsKeepAllButOutsideReferences_data();
    void styleSheetsKeepAllButOutsideReferences();
    void filesAndPipesAreNotOpened();

    void inlinePicturesAreChecked();
    void inlineDrawingsAreSanitized();

    void limitsHoldOnBothSides_data();
    void limitsHoldOnBothSides();
    void brokenDocumentsAreRefused_data();
    void brokenDocumentsAreRefused();
    void gzipLimitIsExact();
    void drawablesAreSanitizedOnceAndKeepTheirBytes();
};

void RKSvgSanitizerTest::initTestCase()
{
    // Qt's renderer tells of pictures and colours that are missing.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.svg.warning=false"));
}

void RKSvgSanitizerTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKSvgSanitizerTest::samplesLookTheSame_data()
{
    QTest::addColumn<QString>("path");
    const QDir folder(QStringLiteral(RK_SAMPLES "/svg"));
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString& name : names)
        QTest::newRow(qPrintable(name)) << folder.filePath(name);
    if (names.isEmpty())
        QTest::newRow("none") << QString();
}

void RKSvgSanitizerTest::samplesLookTheSame()
{
    QFETCH(QString, path);
    if (path.isEmpty())
        QSKIP("The samples are missing.");

    const QByteArray svg = RKTestPictures::read(path);
    const QImage expected = rendered(svg);
    QVERIFY(!expected.isNull());
    QCOMPARE(rendered(RKSvgSanitizer::sanitized(svg)), expected);
}

void RKSvgSanitizerTest::harmlessDocumentsLookTheSame_data()
{
    QTest::addColumn<QByteArray>("svg");

    QTest::newRow("style element") << document(
        "<style type='text/css'><![CDATA[.a>.b{fill:#00f} .a{fill:url(#g)}]]></style>"
        "<linearGradient id='g'><stop stop-color='red'/><stop offset='1' stop-color='lime'/>"
        "</linearGradient><g class='a'><rect width='30' height='30'/>"
        "<rect class='b' x='30' width='9' height='9'/></g>");
    QTest::newRow("references") << document(
        "<defs><linearGradient id='a'><stop stop-color='red'/></linearGradient>"
        "<linearGradient id='b' xlink:href='#a'/><rect id='r' width='20' height='20'/></defs>"
        "<use xlink:href='#r' fill='url(#b)'/><use href='#r' x='30' style='fill:url(#b)'/>");
    QTest::newRow("inline picture") << document(
        inlineImage(RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG")));
    QTest::newRow("spaces in text") << document(
        "<text y='20' xml:space='preserve'>a  b <tspan> c </tspan>\n d</text>"
        "<text y='40'>a  b <tspan> c </tspan><!-- no text -->  d &lt;&amp;&#233;<![CDATA[ <x> ]]>"
        "</text>");
    QTest::newRow("other prefix") << QByteArray(
        "<s:svg xmlns:s='http://www.w3.org/2000/svg' width='60' height='60'>"
        "<s:rect width='30' height='30' s:x='1' fill='lime'/></s:svg>");
    QTest::newRow("undeclared prefix")
        << document("<rect inkscape:label='x' width='9' height='9'/>");
    QTest::newRow("Latin-1") << QByteArray("<?xml version='1.0' encoding='ISO-8859-1'?>"
        + document("<text y='30'>\xe4\xf6\xfc</text>"));
    const QString wide = QString::fromUtf8(
        "<?xml version='1.0' encoding='UTF-16'?>" + document("<text y='30'>\xc3\xa4</text>"));
    QByteArray utf16("\xff\xfe", 2);
    for (const QChar character : wide)
        utf16.append(char(character.unicode() & 0xff)).append(char(character.unicode() >> 8));
    QTest::newRow("UTF-16") << utf16;
    QTest::newRow("defaults of a document type")
        << QByteArray("<!DOCTYPE svg [<!ATTLIST rect fill CDATA '#00ff00'>]>"
               + document("<rect width='30' height='30'/>"));
    QTest::newRow("colour after an outside paint server") << document(
        "<g fill='lime'><rect width='30' height='30' fill='url(other.svg#a) red'/></g>");
}

void RKSvgSanitizerTest::harmlessDocumentsLookTheSame()
{
    QFETCH(QByteArray, svg);

    const QImage expected = rendered(svg);
    QVERIFY(!expected.isNull());
    QCOMPARE(rendered(RKSvgSanitizer::sanitized(svg)), expected);
}

void RKSvgSanitizerTest::textKeepsItsCharacters()
{
    const QByteArray svg = document("<text a='&#10;&#9;\"' xml:space='preserve'>  a\n\tb&gt;"
                                    "<![CDATA[<&]]></text>");
    const QByteArray result = RKSvgSanitizer::sanitized(svg);
    QVERIFY2(result.contains("<text a=\"&#10;&#9;&quot;\" xml:space=\"preserve\">  a\n\tb&gt;"
                             "<![CDATA[<&]]></text>"),
        result.constData());
    QVERIFY(result.contains("xmlns:xlink=\"http://www.w3.org/1999/xlink\""));
    QCOMPARE(RKSvgSanitizer::sanitized(result), result);
}

// Drawing programs declare their name spaces in this way.
void RKSvgSanitizerTest::internalEntitiesAreResolved()
{
    const QByteArray svg
        = "<?xml version='1.0'?><!DOCTYPE svg PUBLIC '-//W3C//DTD SVG 1.1//EN' "
          "'http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd' [<!ENTITY ns 'http://www.w3.org/2000/svg'>"
          "<!ENTITY in '&c;'><!ENTITY c '#00f'><!ENTITY out SYSTEM 'file:///etc/hostname'>]>"
          "<svg xmlns='&ns;' width='60' height='60'><rect width='9' height='9' fill='&in;'/>"
          "<text>a&out;b</text></svg>";
    QCOMPARE(RKSvgSanitizer::sanitized(svg),
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"60\" height=\"60\">"
        "<rect width=\"9\" height=\"9\" fill=\"#00f\"/><text>ab</text></svg>");
}

void RKSvgSanitizerTest::compressedDocumentsAreRead()
{
    const QByteArray svg = document(kRedSquare);
    const QByteArray half = svg.left(svg.size() / 2);
    const QByteArray expected = RKSvgSanitizer::sanitized(svg);
    QCOMPARE(RKSvgSanitizer::sanitized(gzip(svg)), expected);
    QCOMPARE(RKSvgSanitizer::sanitized(gzip(half) + gzip(svg.mid(half.size()))), expected);
    QCOMPARE(RKSvgSanitizer::sanitized(gzip(svg) + QByteArray(512, '\0')), expected);
}

void RKSvgSanitizerTest::outsideReferencesAreDropped_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("xlink:href") << QByteArray("<image xlink:href='OUTSIDE' width='9' height='9'/>");
    QTest::newRow("href") << QByteArray("<image href=' OUTSIDE' width='9' height='9'/>");
    QTest::newRow("other prefix") << QByteArray("<image l:HREF='OUTSIDE'/>");
    QTest::newRow("URL") << QByteArray("<image xlink:href='http://OUTSIDE/x.png'/>");
    QTest::newRow("file URL") << QByteArray("<image xlink:href='file:///OUTSIDE'/>");
    QTest::newRow("data in capitals, which Qt takes for a file")
        << QByteArray("<image xlink:href='DATA:OUTSIDE;base64,AAAA'/>");
    QTest::newRow("data that aren't base64")
        << QByteArray("<image xlink:href='data:image/svg+xml,OUTSIDE'/>");
    QTest::newRow("element of a file") << QByteArray("<use xlink:href='OUTSIDE.svg#a'/>");
    QTest::newRow("src") << QByteArray("<foreignObject><img src='OUTSIDE'/></foreignObject>");
    QTest::newRow("base") << QByteArray("<g xml:base='OUTSIDE'/>");
    QTest::newRow("attribute") << QByteArray(
        "<rect fill='url(OUTSIDE#a)' filter='url( \"OUTSIDE\" )'/>");
    QTest::newRow("style attribute") << QByteArray("<rect style='fill:URL(OUTSIDE)'/>");
    QTest::newRow("style element") << QByteArray("<style>a{fill:url(OUTSIDE)}</style>");
    QTest::newRow("style element in sections")
        << QByteArray("<style>a{fill:ur<![CDATA[l(OUTSI]]>DE)}<g>@import 'OUTSIDE';</g></style>");
    QTest::newRow("instruction") << QByteArray(
        "<?xml-stylesheet type=\"text/css\" href=\"OUTSIDE\"?>");
    QTest::newRow("comment") << QByteArray("<!-- OUTSIDE -->");
}

void RKSvgSanitizerTest::outsideReferencesAreDropped()
{
    QFETCH(QByteArray, content);

    const QByteArray result = RKSvgSanitizer::sanitized(document(content + kRedSquare));
    QVERIFY2(!result.contains("OUTSI"), result.constData());
    QVERIFY(result.contains("#ff0000"));
}

void RKSvgSanitizerTest::styleSheetsKeepAllButOutsideReferences_data()
{
    QTest::addColumn<QString>("css");
    QTest::addColumn<QString>("expected");

    const auto same = [](const char* css) {
        QTest::newRow(css) << QString::fromUtf8(css) << QString::fromUtf8(css);
    };
    same("");
    same("a { fill : url( #b ) } /* url(x) */ .c::before { content: 'url(x)' \"\\\"url(x)\" }");
    same("a{fill:url('#b');mask:url(data:image/png;base64,AA==)}");
    same("@media print{a{x:curl(x)}} @important{x:url-x(y)}");
    same("unfinished 'string");
    same("\\");
    const auto changed = [](const char* css, const char* expected) {
        QTest::newRow(css) << QString::fromUtf8(css) << QString::fromUtf8(expected);
    };
    changed("a{b:url(x)}", "a{b:url(#)}");
    changed("a{b:uRl( \"x)\" ) c}", "a{b:url(#) c}");
    changed("a{b:\\75 r\\00006C(x)}", "a{b:url(#)}");
    changed("a{b:\\url(x)}", "a{b:url(#)}");
    changed("a{b:url(\\) x)}", "a{b:url(#)}");
    changed("a{b:url(x", "a{b:url(#)");
    changed("a{b:url(", "a{b:url(#)");
    changed("a{b:'open\nurl(x)}", "a{b:'open\nurl(#)}");
    changed("@import 'a;b';c{}", "c{}");
    changed("@IMPORT url(a;b) screen;c{}", "c{}");
    changed("@\\69mport \"a\"", "");
}

void RKSvgSanitizerTest::styleSheetsKeepAllButOutsideReferences()
{
    QFETCH(QString, css);
    QFETCH(QString, expected);
    QCOMPARE(RKCssReferences::withoutExternal(css), expected);
}

void RKSvgSanitizerTest::filesAndPipesAreNotOpened()
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("a.png"));
    RKTestPictures::write(
        file, RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG"));
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);

    // A renderer that opened the pipe would wait for ever.
    QElapsedTimer timer;
    timer.start();
    for (const QString& path : {file, pipe}) {
        const RKDrawable drawable(document("<?xml-stylesheet type=\"text/css\" href=\""
            + path.toUtf8() + "\"?><image width='60' height='60' xlink:href='" + path.toUtf8()
            + "'/>" + kRedSquare));
        QVERIFY(!drawable.isNull());
        QCOMPARE(drawable.image().pixel(30, 30), 0xffff0000);
    }
    QVERIFY2(timer.elapsed() < kSoon, qPrintable(QString::number(timer.elapsed())));
}

void RKSvgSanitizerTest::inlinePicturesAreChecked()
{
    const QByteArray small = RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG");
    QVERIFY(RKSvgSanitizer::sanitized(document(inlineImage(small))).contains("base64"));

    // The header claims 40000 x 40000 pixels, and has the checksum of that.
    QByteArray bomb = small;
    bomb.replace(16, 8, QByteArray::fromHex("00009c4000009c40"));
    const QByteArray header = bomb.sliced(12, 17);
    qToBigEndian(
        quint32(crc32(0, reinterpret_cast<const Bytef*>(header.data()), 17)), bomb.data() + 29);
    QVERIFY(!RKSvgSanitizer::sanitized(document(inlineImage(bomb))).contains("base64"));
    QVERIFY(!RKSvgSanitizer::sanitized(document(inlineImage("no picture"))).contains("base64"));

    // All of them together have a limit: 64 pictures of 4 megapixels.
    QImage large(2048, 2048, QImage::Format_Mono);
    large.fill(0);
    const QByteArray image = inlineImage(RKTestPictures::encoded(large, "PNG"));
    QCOMPARE(RKSvgSanitizer::sanitized(document(image.repeated(64))).count("base64"), 64);
    QCOMPARE(RKSvgSanitizer::sanitized(document(image.repeated(65))).count("base64"), 64);
}

void RKSvgSanitizerTest::inlineDrawingsAreSanitized()
{
    const auto nested = [](const QByteArray& content) -> QByteArray {
        return document(inlineImage(document(content), "image/svg+xml"));
    };
    const QByteArray harmless = nested(kRedSquare);
    QCOMPARE(rendered(RKSvgSanitizer::sanitized(harmless)), rendered(harmless));
    QCOMPARE(rendered(harmless).pixel(30, 30), 0xffff0000);

    const QByteArray result
        = RKSvgSanitizer::sanitized(nested("<image width='9' height='9' xlink:href='/etc/x'/>"));
    const qsizetype code = result.indexOf("base64,") + 7;
    const QByteArray inner
        = QByteArray::fromBase64(result.sliced(code, result.indexOf('"', code) - code));
    QVERIFY(inner.contains("<image"));
    QVERIFY(!inner.contains("/etc/x"));

    // Its own size decides on the pixels that it is rendered to.
    const QByteArray huge
        = inlineImage("<svg xmlns='http://www.w3.org/2000/svg' width='50000' height='50000'/>");
    QVERIFY(!RKSvgSanitizer::sanitized(document(huge)).contains("base64"));

    QByteArray deep = document(kRedSquare);
    for (int i = 0; i < 10; ++i)
        deep = document(inlineImage(deep, "image/svg+xml"));
    QVERIFY(!RKSvgSanitizer::sanitized(deep).isEmpty());
}

void RKSvgSanitizerTest::limitsHoldOnBothSides_data()
{
    QTest::addColumn<QByteArray>("accepted");
    QTest::addColumn<QByteArray>("refused");
    QTest::addColumn<QString>("reason");

    const auto row = [](const char* reason, auto make, int limit) {
        QTest::newRow(reason) << make(limit) << make(limit + 1) << QString::fromLatin1(reason);
    };
    // The root counts too.
    row(
        "too many elements",
        [](int n) -> QByteArray { return document(repeated("<g/>", n - 1)); },
        RKSvgSanitizer::kMaxElements);
    row(
        "too many elements inside one another",
        [](int n) -> QByteArray {
            return document(repeated("<g>", n - 1) + repeated("</g>", n - 1));
        },
        RKSvgSanitizer::kMaxDepth);
    row(
        "too many attributes",
        [](int n) -> QByteArray {
            QByteArray tag = "<g";
            for (int i = 0; i < n; ++i)
                tag += " a" + QByteArray::number(i) + "='='";
            return document(tag + "/>");
        },
        RKSvgSanitizer::kMaxAttributes);
    row(
        "too many bytes",
        [](int n) -> QByteArray {
            const QByteArray empty = document({});
            return document(QByteArray(n - empty.size(), ' '));
        },
        int(RKSvgSanitizer::kMaxBytes));
    row(
        "too many entities",
        [](int n) -> QByteArray {
            return "<!DOCTYPE svg [" + repeated("<!ENTITY a 'b'>", n) + "]>" + document({});
        },
        RKSvgSanitizer::kMaxEntities);
    row(
        "too many references to entities",
        [](int n) -> QByteArray {
            return "<!DOCTYPE svg [<!ENTITY a 'b'>]>" + document(repeated("&a;", n));
        },
        int(RKSvgSanitizer::kMaxBytes / RKSvgSanitizer::kMaxEntityExpansion));
    row(
        "too many attribute declarations",
        [](int n) -> QByteArray {
            const QByteArray begin = "!ATTLIST g a CDATA '";
            const QByteArray end = "'>]>";
            return "<!DOCTYPE svg [<" + begin + QByteArray(n - begin.size() - end.size(), 'x') + end
                + document({});
        },
        int(RKSvgSanitizer::kMaxAttributeDeclarations));

    // A rule has two selectors' worth here. The elements are the root, the style and the rest.
    const auto styled = [](int elements) -> QByteArray {
        return document(
            "<style>" + repeated("a {}", 1000) + "</style>" + repeated("<g/>", elements - 2));
    };
    row("too many style rules for its elements",
        styled,
        int(RKSvgSanitizer::kMaxStyleMatches / 2000));

    // Every step draws ten times what the one before draws.
    const auto laughing = [](int steps) -> QByteArray {
        QByteArray content = "<rect id='u0' width='1' height='1'/>";
        for (int i = 1; i <= steps; ++i) {
            const QByteArray use = "<use xlink:href='#u" + QByteArray::number(i - 1) + "'/>";
            content += "<g id='u" + QByteArray::number(i) + "'>" + use.repeated(10) + "</g>";
        }
        return document("<defs>" + content + "</defs>");
    };
    row("elements that draw each other too often", laughing, 5);
    // A chain of 50000 overflows the stack of Qt's renderer.
    const auto chained = [](int length) -> QByteArray {
        QByteArray content = "<rect id='u0' width='1' height='1'/>";
        for (int i = 1; i <= length; ++i) {
            content += "<use id='u" + QByteArray::number(i) + "' xlink:href='#u"
                + QByteArray::number(i - 1) + "'/>";
        }
        return document(content);
    };
    QTest::newRow("long chain") << chained(255) << chained(256)
                                << QStringLiteral("elements that draw each other too often");
}

void RKSvgSanitizerTest::limitsHoldOnBothSides()
{
    QFETCH(QByteArray, accepted);
    QFETCH(QByteArray, refused);
    QFETCH(QString, reason);

    QVERIFY(!RKSvgSanitizer::sanitized(accepted).isEmpty());
    QTest::ignoreMessage(
        QtWarningMsg, qPrintable(QLatin1String("SVG document refused: ") + reason));
    QVERIFY(RKSvgSanitizer::sanitized(refused).isEmpty());
}

void RKSvgSanitizerTest::brokenDocumentsAreRefused_data()
{
    QTest::addColumn<QByteArray>("svg");
    QTest::addColumn<QString>("reason");

    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("no XML") << QByteArray("GIF89a") << QString();
    QTest::newRow("cut off") << document(kRedSquare).chopped(3) << QString();
    QTest::newRow("more behind the end") << document({}) + "<g/>" << QString();
    QTest::newRow("undeclared entity") << document("&a;") << QString();
    QTest::newRow("entity that contains itself")
        << "<!DOCTYPE svg [<!ENTITY a '&b;'><!ENTITY b '&a;'>]>" + document("&a;") << QString();
    QByteArray laughs = "<!ENTITY e0 'ha'>";
    for (int i = 1; i < 30; ++i) {
        const QByteArray inner = "&e" + QByteArray::number(i - 1) + ";";
        laughs += "<!ENTITY e" + QByteArray::number(i) + " '" + inner.repeated(10) + "'>";
    }
    QTest::newRow("billion laughs")
        << "<!DOCTYPE svg [" + laughs + "]>" + document("<text>&e29;</text>") << QString();
    QTest::newRow("billion laughs in an attribute")
        << "<!DOCTYPE svg [" + laughs + "]>" + document("<g id='&e29;'/>") << QString();
    QTest::newRow("long entity") << "<!DOCTYPE svg [<!ENTITY a '" + QByteArray(2000, 'x') + "'>]>"
            + document("&a;") << QString();
    QTest::newRow("null character")
        << document(QByteArray("\0", 1)) << QStringLiteral("a null character");
    const QString compression = QStringLiteral("damaged compression or too many bytes");
    QTest::newRow("cut gzip") << gzip(document(kRedSquare)).chopped(12) << compression;
    QTest::newRow("damaged gzip") << QByteArray("\x1f\x8b\x08 and no more") << compression;
    QTest::newRow("gzip bomb") << gzip(document(QByteArray(70 << 20, ' '))) << compression;
    QTest::newRow("gzip in gzip") << gzip(gzip(document({}))) << QStringLiteral("a null character");
}

void RKSvgSanitizerTest::brokenDocumentsAreRefused()
{
    QFETCH(QByteArray, svg);
    QFETCH(QString, reason);

    if (!reason.isEmpty()) {
        QTest::ignoreMessage(
            QtWarningMsg, qPrintable(QLatin1String("SVG document refused: ") + reason));
    }
    QElapsedTimer timer;
    timer.start();
    QVERIFY(RKSvgSanitizer::sanitized(svg).isEmpty());
    QVERIFY2(timer.elapsed() < kSoon, qPrintable(QString::number(timer.elapsed())));
}

void RKSvgSanitizerTest::gzipLimitIsExact()
{
    const QByteArray data(100'000, 'x');
    QCOMPARE(RKGzip::inflated(gzip(data), data.size()), data);
    QVERIFY(!RKGzip::inflated(gzip(data), data.size() - 1));
    QVERIFY(!RKGzip::inflated(gzip(data).chopped(1), data.size()));
    QCOMPARE(RKGzip::inflated(gzip({}), 0), QByteArray());
}

void RKSvgSanitizerTest::drawablesAreSanitizedOnceAndKeepTheirBytes()
{
    const QByteArray svg = gzip(document("<image width='9' height='9' xlink:href='/x'/>"));
    const RKDrawable drawable(svg);
    const RKDrawable scaled = drawable.scaled({30, 30});
    QVERIFY(!drawable.isNull());
    QVERIFY(!scaled.isNull());
    QCOMPARE(drawable.svg(), svg);
    QCOMPARE(scaled.svg(), svg);
    QCOMPARE(drawable.numBytes(), svg.size());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^SVG document refused")));
    QVERIFY(RKDrawable(svg.chopped(9)).isNull());
}

QTEST_MAIN(RKSvgSanitizerTest)
#include "RKSvgSanitizerTest.moc"

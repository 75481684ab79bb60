// Makes the pictures that the benchmarks read: the same ones for the same seed.
// A name with %1 stands for --count files. Its extension is the format: Qt's, psd or dng.

#include "support/RKTestDng.h"
#include "support/RKTestPsd.h"

#include <QColorSpace>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QRandomGenerator>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

/// Random values in a grid, interpolated in between: clouds, or texture where the cells are small.
class Clouds
{
public:
    Clouds(QRandomGenerator& random, const QSize& size, int cell)
        : m_cell(cell)
        , m_columns(size.width() / cell + 2)
        , m_values(size_t(m_columns) * size_t(size.height() / cell + 2))
    {
        for (float& value : m_values)
            value = float(random.bounded(2000) - 1000) / 1000.0F;
    }

    /// From -1 to 1.
    float at(int x, int y) const
    {
        const size_t place = size_t(y / m_cell) * size_t(m_columns) + size_t(x / m_cell);
        const float right = float(x % m_cell) / float(m_cell);
        const float down = float(y % m_cell) / float(m_cell);
        const auto between
            = [right](const float* values) { return values[0] + (values[1] - values[0]) * right; };
        const float top = between(&m_values[place]);
        return top + (between(&m_values[place + size_t(m_columns)]) - top) * down;
    }

private:
    int m_cell;
    int m_columns;
    std::vector<float> m_values;
};

/// Objects with edges in front of a landscape.
QImage shapes(QRandomGenerator& random, const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setColorAt(0, QColor(90, 140, 200));
    sky.setColorAt(0.5, QColor(200, 190, 170));
    sky.setColorAt(1, QColor(60, 80, 50));
    painter.fillRect(image.rect(), sky);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 300; ++i) {
        const double side = size.width() * (0.005 + 0.08 * random.generateDouble());
        const QPointF center(
            random.bounded(double(size.width())), random.bounded(double(size.height())));
        QColor color = QColor::fromHsv(
            random.bounded(360), 40 + random.bounded(140), 40 + random.bounded(200));
        QRadialGradient light(center, side);
        light.setColorAt(0, color.lighter(130));
        light.setColorAt(1, color.darker(130));
        painter.setBrush(light);
        painter.save();
        painter.translate(center);
        painter.rotate(random.bounded(360.0));
        painter.translate(-center);
        const QRectF place(center - QPointF(side / 2, side / 3), QSizeF(side, side / 1.5));
        if (i % 3 == 0)
            painter.drawEllipse(place);
        else
            painter.drawRect(place);
        painter.restore();
    }
    return image;
}

/// A photograph's mixture: even areas, edges, areas with texture, and the grain of a sensor.
QImage photograph(const QSize& size, quint32 seed)
{
    QRandomGenerator random(seed);
    QImage image = shapes(random, size);
    const Clouds light(random, size, std::max(1, size.width() / 6));
    const Clouds where(random, size, std::max(1, size.width() / 40));
    const Clouds coarse(random, size, 9);
    const Clouds fine(random, size, 3);
    for (int y = 0; y < size.height(); ++y) {
        auto* const row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const float texture = std::max(0.2F, where.at(x, y))
                * (40.0F * coarse.at(x, y) + 30.0F * fine.at(x, y));
            const int level = int(30.0F * light.at(x, y) + texture);
            const quint32 grain = random.generate();
            const auto mixed = [level](int value, quint32 bits) {
                return std::clamp(value + level + int(bits & 7) + int(bits >> 3 & 7) - 7, 0, 255);
            };
            row[x] = qRgb(mixed(qRed(row[x]), grain),
                mixed(qGreen(row[x]), grain >> 8),
                mixed(qBlue(row[x]), grain >> 16));
        }
    }
    return image;
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("can't write %s", qPrintable(path));
}

struct Recipe
{
    QSize size;
    int quality = 90;
    int orientation = 1;
    QByteArray profile = {};
    /// Longest side of the embedded one; 0 for none.
    int preview = 0;
    bool hasMetadata = false;
};

/// What a camera writes, and a photo application after it.
void addMetadata(const QString& path, const QImage& image, const Recipe& recipe, quint32 number)
{
    const auto file = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
    file->readMetadata();
    const std::string text = std::to_string(number);
    Exiv2::ExifData& exif = file->exifData();
    exif["Exif.Image.Make"] = "Maker";
    exif["Exif.Image.Model"] = "Model " + text;
    exif["Exif.Image.Orientation"] = uint16_t(recipe.orientation);
    exif["Exif.Image.Software"] = "1.0";
    exif["Exif.Image.DateTime"] = "2021:07:04 12:30:00";
    exif["Exif.Photo.DateTimeOriginal"] = "2021:07:04 12:30:00";
    exif["Exif.Photo.ExposureTime"] = Exiv2::Rational(1, 250);
    exif["Exif.Photo.FNumber"] = Exiv2::Rational(56, 10);
    exif["Exif.Photo.FocalLength"] = Exiv2::Rational(50, 1);
    exif["Exif.Photo.ExposureBiasValue"] = Exiv2::Rational(-1, 3);
    exif["Exif.Photo.LensModel"] = "50mm F1.8";
    exif["Exif.Photo.ColorSpace"] = uint16_t(recipe.profile.isEmpty() ? 1 : 65535);
    for (const char* key : {"ISOSpeedRatings",
             "ExposureProgram",
             "MeteringMode",
             "LightSource",
             "Flash",
             "SensingMethod",
             "CustomRendered",
             "ExposureMode",
             "WhiteBalance",
             "FocalLengthIn35mmFilm",
             "SceneCaptureType",
             "Contrast",
             "Saturation",
             "Sharpness",
             "SubjectDistanceRange"})
        exif[std::string("Exif.Photo.") + key] = uint16_t(1);
    exif["Exif.GPSInfo.GPSVersionID"] = "2 3 0 0";
    exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    exif["Exif.GPSInfo.GPSLatitude"] = "48/1 51/1 " + text + "/100";
    exif["Exif.GPSInfo.GPSLongitudeRef"] = "E";
    exif["Exif.GPSInfo.GPSLongitude"] = "2/1 17/1 " + text + "/100";
    if (recipe.preview > 0) {
        const QByteArray thumbnail = RKTestPictures::encoded(
            image.scaled(
                recipe.preview, recipe.preview, Qt::KeepAspectRatio, Qt::SmoothTransformation),
            "jpg",
            80);
        Exiv2::ExifThumb(exif).setJpegThumbnail(
            reinterpret_cast<const Exiv2::byte*>(thumbnail.constData()), long(thumbnail.size()));
    }
    Exiv2::IptcData& iptc = file->iptcData();
    iptc["Iptc.Application2.Caption"] = "Caption of picture " + text;
    iptc["Iptc.Application2.Byline"] = "A Photographer";
    iptc["Iptc.Application2.Copyright"] = "2021 A Photographer";
    Exiv2::XmpData& xmp = file->xmpData();
    xmp["Xmp.xmp.Rating"] = std::to_string(number % 6);
    xmp["Xmp.xmp.CreatorTool"] = "Application 1.0";
    xmp["Xmp.dc.title"] = "lang=x-default Picture " + text;
    for (const char* word : {"holiday", "landscape", "evening", "family"}) {
        Exiv2::Iptcdatum keyword(Exiv2::IptcKey("Iptc.Application2.Keywords"));
        keyword.setValue(word);
        iptc.add(keyword);
        xmp["Xmp.dc.subject"] = word;
    }
    file->writeMetadata();
}

void make(const QString& path, const Recipe& recipe, quint32 seed)
{
    const QImage image = photograph(recipe.size, seed);
    const QString format = QFileInfo(path).suffix();
    if (format == QLatin1String("psd"))
        return write(path, RKTestPsd::of(image, recipe.profile).bytes());
    if (format == QLatin1String("dng")) {
        RKTestDng file{.scene = image};
        if (recipe.preview > 0)
            file.preview = image.scaled(
                recipe.preview, recipe.preview, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        return write(path, file.bytes());
    }
    QImage described = image;
    described.setColorSpace(
        recipe.profile.isEmpty() ? QColorSpace() : QColorSpace::fromIccProfile(recipe.profile));
    QImageWriter writer(path);
    if (format == QLatin1String("tif"))
        writer.setCompression(1);
    else if (format != QLatin1String("png"))
        writer.setQuality(recipe.quality);
    if (!writer.write(described))
        qFatal("can't write %s: %s", qPrintable(path), qPrintable(writer.errorString()));
    if (recipe.hasMetadata)
        addMetadata(path, image, recipe, seed);
}

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{QStringLiteral("size"), {}, QStringLiteral("WxH")},
        {QStringLiteral("seed"), {}, QStringLiteral("number"), QStringLiteral("1")},
        {QStringLiteral("count"), {}, QStringLiteral("files"), QStringLiteral("1")},
        {QStringLiteral("quality"), {}, QStringLiteral("percent"), QStringLiteral("90")},
        {QStringLiteral("orientation"), {}, QStringLiteral("1-8"), QStringLiteral("1")},
        {QStringLiteral("preview"), {}, QStringLiteral("side"), QStringLiteral("0")},
        {QStringLiteral("profile"), {}, QStringLiteral("file")},
        {QStringLiteral("metadata"), {}}});
    parser.addPositionalArgument(QStringLiteral("file"), {});
    parser.process(application);
    const auto number
        = [&parser](const char* option) { return parser.value(QLatin1String(option)).toInt(); };

    const QStringList sides = parser.value(QStringLiteral("size")).split(u'x');
    Recipe recipe{
        {sides.value(0).toInt(), sides.value(1).toInt()}, number("quality"), number("orientation")};
    recipe.preview = number("preview");
    recipe.hasMetadata = parser.isSet(QStringLiteral("metadata"));
    if (parser.isSet(QStringLiteral("profile")))
        recipe.profile = RKTestPictures::read(parser.value(QStringLiteral("profile")));
    const QString name = parser.positionalArguments().value(0);
    if (recipe.size.isEmpty() || name.isEmpty())
        parser.showHelp(2);
    const int count = number("count");
    for (int i = 0; i < count; ++i) {
        const QString path = count > 1 ? name.arg(i, 5, 10, QLatin1Char('0')) : name;
        make(path, recipe, quint32(number("seed") + i));
    }
}

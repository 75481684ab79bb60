#include "RKImageLoader/metadata/exiv2/RKExiv2Capture_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "support/RKQuietTest.h"

#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

/// Where cameras leave what a reader would look for, or write what they don't know.
class RKExiv2CaptureTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void settingsAreFoundWhereCamerasLeaveThem()
    {
        using Data = std::vector<std::pair<const char*, const char*>>;

        struct Row
        {
            Data exif;
            Data xmp;
            QString expected;
        };

        const std::vector<Row> rows{
            {{{"Exif.Image.Make", "Acme "},
                 {"Exif.Photo.LensModel", "Zoom 1"},
                 {"Exif.Photo.ExposureTime", "10/600"},
                 {"Exif.Photo.FNumber", "28/10"},
                 {"Exif.Photo.ISOSpeedRatings", "200"},
                 {"Exif.Photo.ExposureBiasValue", "-1/3"},
                 {"Exif.Photo.FocalLength", "24/1"},
                 {"Exif.Photo.FocalLengthIn35mmFilm", "36"},
                 {"Exif.GPSInfo.GPSAltitudeRef", "1"},
                 {"Exif.GPSInfo.GPSAltitude", "355/10"}},
                {{"Xmp.aux.Lens", "another"}, {"Xmp.photoshop.City", "Jericho"}},
                u"Acme|Zoom 1|60|2.8|200|-0.33|24|36|-35.5|Jericho"_s},
            // Nothing is known, which is written as fractions of 0 and as a number too large.
            {{{"Exif.Photo.ExposureTime", "0/0"},
                 {"Exif.Photo.ShutterSpeedValue", "0/1"},
                 {"Exif.Photo.FNumber", "0/1"},
                 {"Exif.Photo.ApertureValue", "0/1"},
                 {"Exif.Photo.ISOSpeedRatings", "65535"},
                 {"Exif.Photo.ExposureBiasValue", "0/0"}},
                {},
                u"||0|0|0||0|0||"_s},
            // Logarithms alone.
            {{{"Exif.Photo.ISOSpeedRatings", "65535"},
                 {"Exif.Photo.RecommendedExposureIndex", "102400"},
                 {"Exif.Photo.ShutterSpeedValue", "6/1"},
                 {"Exif.Photo.ApertureValue", "4/1"}},
                {},
                u"||64|4|102400||0|0||"_s},
            {{{"Exif.Image.Make", "Acme"}},
                {{"Xmp.exif.ExposureTime", "1/50"},
                    {"Xmp.exif.FNumber", "8/0"},
                    {"Xmp.exif.FocalLength", "-3/1"},
                    {"Xmp.exif.GPSAltitude", "12/1"},
                    {"Xmp.exif.ISOSpeedRatings", "100"},
                    {"Xmp.exif.ISOSpeedRatings", "200"},
                    {"Xmp.exifEX.LensModel", "Zoom 2"}},
                u"Acme|Zoom 2|50|0|100||0|0|12|"_s}};
        RKExiv2Library::initialize();
        for (const Row& row : rows) {
            Exiv2::ExifData exif;
            for (const auto& [key, value] : row.exif)
                exif[key] = value;
            Exiv2::XmpData xmp;
            for (const auto& [key, value] : row.xmp)
                xmp[key] = value;
            const RKCaptureSettings found = RKExiv2Capture::read(exif, xmp);
            const auto number = [](double value) { return QString::number(value, 'g', 2); };
            const QStringList texts{found.make,
                found.lens,
                QString::number(found.exposureTime > 0 ? 1 / found.exposureTime : 0),
                QString::number(found.fNumber),
                QString::number(found.iso),
                found.exposureBias ? number(*found.exposureBias) : QString(),
                QString::number(found.focalLength),
                QString::number(found.focalLengthIn35mm),
                found.altitude ? QString::number(*found.altitude) : QString(),
                found.city};
            QCOMPARE(texts.join(u'|'), row.expected);
        }
    }
};

QTEST_GUILESS_MAIN(RKExiv2CaptureTest)

#include "RKExiv2CaptureTest.moc"

#include "RKImageLoader/metadata/exiv2/RKExiv2Capture_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {

// What stands for a sensitivity that the tag is too small for (Exif 2.32, 4.6.5, tag 0x8827).
constexpr int kIsoTooLarge = 65535;

// Exif 2.32, 4.6.6.
constexpr quint16 kAltitude = 6;

using Finder = Exiv2::ExifData::const_iterator (*)(const Exiv2::ExifData&);

/// Reads numbers and texts of Exif data. Each is looked up among the standard tags in one walk;
/// what is missing there is asked for among the makers' own.
class ExifReader
{
public:
    explicit ExifReader(const Exiv2::ExifData& data)
        : m_data(data)
    {
    }

    RKCaptureSettings read() const
    {
        RKCaptureSettings settings;
        for (const Exiv2::Exifdatum& datum : m_data)
            readStandard(datum, settings);
        if (settings.exposureTime == 0)
            settings.exposureTime = printedNumber(Exiv2::exposureTime, Exiv2::shutterSpeedValue);
        if (settings.fNumber == 0)
            settings.fNumber = printedNumber(Exiv2::fNumber, Exiv2::apertureValue);
        if (settings.focalLength == 0)
            settings.focalLength = printedNumber(Exiv2::focalLength);
        if (settings.iso == 0)
            settings.iso = makersIso();
        if (settings.lens.isEmpty())
            settings.lens = lensName();
        if (settings.altitude && isBelowSea())
            settings.altitude = -*settings.altitude;
        return settings;
    }

private:
    // Tags after Exif 2.32, 4.6.4 and 4.6.5.
    static void readStandard(const Exiv2::Exifdatum& datum, RKCaptureSettings& settings)
    {
        const std::string group = datum.groupName();
        if (group == "Image") {
            switch (datum.tag()) {
            case 0x010f: settings.make = text(datum); break;
            case 0x0110: settings.model = text(datum); break;
            default: break;
            }
        } else if (group == "Photo") {
            switch (datum.tag()) {
            case 0x829a: settings.exposureTime = positive(datum); break;
            case 0x829d: settings.fNumber = positive(datum); break;
            case 0x8827:
                if (const double iso = positive(datum); iso < kIsoTooLarge)
                    settings.iso = int(iso);
                break;
            // The recommended exposure index, which tells greater ones.
            case 0x8832:
                if (settings.iso == 0)
                    settings.iso = int(positive(datum));
                break;
            case 0x9204: settings.exposureBias = number(datum); break;
            case 0x920a: settings.focalLength = positive(datum); break;
            case 0xa405: settings.focalLengthIn35mm = positive(datum); break;
            case 0xa434: settings.lens = text(datum); break;
            default: break;
            }
        } else if (group == "GPSInfo" && datum.tag() == kAltitude) {
            settings.altitude = number(datum);
        }
    }

    static QString text(const Exiv2::Exifdatum& datum)
    {
        return RKExiv2Library::valueOr(QString(), [&] {
            // Some cameras fill the rest of the field with NULs.
            return QString::fromUtf8(datum.toString().c_str()).trimmed();
        });
    }

    /// Nothing for a fraction of 0, which stands for what the camera doesn't know.
    static std::optional<double> number(const Exiv2::Exifdatum& datum)
    {
        return RKExiv2Library::valueOr(std::optional<double>(), [&]() -> std::optional<double> {
            if (datum.count() == 0)
                return {};
            const Exiv2::Rational fraction = datum.toRational(0);
            return fraction.second == 0
                ? std::nullopt
                : std::optional(double(fraction.first) / double(fraction.second));
        });
    }

    static double positive(const Exiv2::Exifdatum& datum)
    {
        return std::max(number(datum).value_or(0), 0.0);
    }

    /// As exiv2 prints it, which knows the units of the makers: "1/60 s", "F2.8", "50.0 mm".
    double printedNumber(Finder find) const
    {
        static const QRegularExpression pattern(
            QStringLiteral("^F?(\\d{1,9}(?:\\.\\d+)?)(?:/(\\d{1,9}))?(?: |$)"));
        const QRegularExpressionMatch match = pattern.match(printed(find));
        const double divisor = match.captured(2).isEmpty() ? 1 : match.captured(2).toDouble();
        const double value = match.captured(1).toDouble() / divisor;
        return std::isfinite(value) && value > 0 ? value : 0;
    }

    /// The same with a second place where the first has none: a logarithm (APEX), whose 0 is what
    /// cameras write that don't know it, and which is printed as 1.
    double printedNumber(Finder find, Finder findLogarithm) const
    {
        const double value = printedNumber(find);
        const double power = value > 0 ? value : printedNumber(findLogarithm);
        return value > 0 || power != 1 ? power : 0;
    }

    bool isBelowSea() const
    {
        const auto datum = m_data.findKey(Exiv2::ExifKey("Exif.GPSInfo.GPSAltitudeRef"));
        return datum != m_data.end() && number(*datum) == 1;
    }

    int makersIso() const
    {
        // Some write a logarithm there, which exiv2 doesn't know of all cameras.
        constexpr int kMinIso = 6;
        const auto findCanonIso = [](const Exiv2::ExifData& data) {
            return data.findKey(Exiv2::ExifKey("Exif.CanonCs.ISOSpeed"));
        };
        const double iso = printedNumber(Exiv2::isoSpeed);
        const bool isIso = iso >= kMinIso && iso < kIsoTooLarge;
        return int(isIso ? iso : printedNumber(findCanonIso));
    }

    QString printed(Finder find) const
    {
        return RKExiv2Library::valueOr(QString(), [&] {
            const auto datum = find(m_data);
            return datum == m_data.end() ? QString()
                                         : QString::fromStdString(datum->print(&m_data)).trimmed();
        });
    }

    QString lensName() const
    {
        // exiv2 prints the number of a lens that it doesn't know, alone or in brackets, and all
        // lenses that share a number.
        static const QRegularExpression unknown(
            QStringLiteral("^[\\d\\s()]*$|^n/a$|[Uu]nknown|^None$|\\|"));
        const QString name = printed(Exiv2::lensName);
        return name.contains(unknown) ? QString() : name;
    }

    const Exiv2::ExifData& m_data;
};

QString xmpText(const Exiv2::XmpData& data, const char* key)
{
    return RKExiv2Library::valueOr(QString(), [&] {
        const auto datum = data.findKey(Exiv2::XmpKey(key));
        return datum == data.end() ? QString()
                                   : QString::fromStdString(datum->toString()).trimmed();
    });
}

/// Of a number or a fraction; 0 for anything else.
double xmpNumber(const Exiv2::XmpData& data, const char* key)
{
    const QStringList parts = xmpText(data, key).split(u'/');
    const double divisor = parts.size() == 2 ? parts[1].toDouble() : 1;
    const double value = parts[0].toDouble() / divisor;
    return std::isfinite(value) && value > 0 ? value : 0;
}

/// Fills in what Exif doesn't have.
void addXmp(const Exiv2::XmpData& data, RKCaptureSettings& settings)
{
    const auto addText = [&data](QString& text, const char* key) {
        if (text.isEmpty())
            text = xmpText(data, key);
    };
    const auto addNumber = [&data](double& number, const char* key) {
        if (number == 0)
            number = xmpNumber(data, key);
    };
    addText(settings.make, "Xmp.tiff.Make");
    addText(settings.model, "Xmp.tiff.Model");
    addText(settings.lens, "Xmp.exifEX.LensModel");
    addText(settings.lens, "Xmp.aux.Lens");
    addNumber(settings.exposureTime, "Xmp.exif.ExposureTime");
    addNumber(settings.fNumber, "Xmp.exif.FNumber");
    addNumber(settings.focalLength, "Xmp.exif.FocalLength");
    addNumber(settings.focalLengthIn35mm, "Xmp.exif.FocalLengthIn35mmFilm");
    if (!settings.altitude && !xmpText(data, "Xmp.exif.GPSAltitude").isEmpty()) {
        const bool isBelowSea = xmpText(data, "Xmp.exif.GPSAltitudeRef") == QLatin1String("1");
        settings.altitude = (isBelowSea ? -1 : 1) * xmpNumber(data, "Xmp.exif.GPSAltitude");
    }
    addText(settings.city, "Xmp.photoshop.City");
    addText(settings.state, "Xmp.photoshop.State");
    addText(settings.country, "Xmp.photoshop.Country");
    addText(settings.city, "Xmp.iptcExt.LocationCreated[1]/iptcExt:City");
    addText(settings.state, "Xmp.iptcExt.LocationCreated[1]/iptcExt:ProvinceState");
    addText(settings.country, "Xmp.iptcExt.LocationCreated[1]/iptcExt:CountryName");
    if (settings.iso == 0)
        settings.iso = xmpText(data, "Xmp.exif.ISOSpeedRatings").section(u',', 0, 0).toInt();
}

} // namespace

RKCaptureSettings RKExiv2Capture::read(const Exiv2::ExifData& exif, const Exiv2::XmpData& xmp)
{
    RKCaptureSettings settings;
    if (!exif.empty())
        settings = ExifReader(exif).read();
    if (!xmp.empty())
        addXmp(xmp, settings);
    return settings;
}

#include "InfoCard.h"

#include "Colors.h"
#include "Output.h"

#include <QJsonArray>
#include <QLocale>
#include <QStringList>
#include <QTime>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

// The longest label.
constexpr int kLabelWidth = 12;
// Tables of numbers that nobody reads to their end.
constexpr qsizetype kMaxTextLength = 300;
// A few names of XMP are far longer than all others.
constexpr qsizetype kMaxKeyWidth = 48;

/// At most so many digits after the point, without zeros at the end.
QString number(double value, int digits)
{
    QString text = QString::number(value, 'f', digits);
    while (text.contains(u'.') && (text.endsWith(u'0') || text.endsWith(u'.')))
        text.chop(1);
    return text;
}

QString joined(QStringList parts, const QString& separator = QStringLiteral(", "))
{
    parts.removeAll(QString());
    return parts.join(separator);
}

QString fileText(const QJsonObject& entry)
{
    const auto bytes = qint64(entry[u"bytes"].toDouble());
    return joined({entry[u"description"].toString(), QLocale::c().formattedDataSize(bytes, 1)});
}

QString sizeText(const QJsonValue& size)
{
    return size[0].toInt() > 0 ? QStringLiteral("%1 × %2").arg(size[0].toInt()).arg(size[1].toInt())
                               : QString();
}

QString pictureSize(const QJsonObject& entry)
{
    const QString size = sizeText(entry[u"size"]);
    if (size.isEmpty())
        return {};
    const double pixels = entry[u"size"][0].toDouble() * entry[u"size"][1].toDouble();
    const int orientation = entry[u"orientation"].toInt();
    return joined({size + QStringLiteral(" pixels"),
        pixels < 1e6 ? QString() : number(pixels / 1e6, 1) + QStringLiteral(" megapixels"),
        orientation > 1 ? QStringLiteral("turned by orientation %1").arg(orientation) : QString()});
}

QString dateText(const QJsonObject& entry)
{
    const QJsonValue taken
        = entry[entry.contains(u"pictureTaken") ? u"pictureTaken" : u"videoTaken"];
    QString text = taken.toString().replace(u'T', u' ');
    // The offset from UTC, if there is one.
    constexpr qsizetype kDateLength = 19;
    if (text.size() > kDateLength)
        text.insert(kDateLength, u' ');
    return text;
}

QString cameraText(const QJsonObject& entry)
{
    const QString make = entry[u"camera"][u"make"].toString();
    const QString model = entry[u"camera"][u"model"].toString(entry[u"cameraModel"].toString());
    // Most models begin with the maker's name, though not always as the maker is written.
    const QString word = make.section(u' ', 0, 0);
    return model.startsWith(word, Qt::CaseInsensitive) && !model.isEmpty()
        ? model
        : joined({make, model}, QStringLiteral(" "));
}

QString exposureTimeText(double seconds)
{
    constexpr double kShortest = 0.3;
    if (seconds <= 0)
        return {};
    return seconds < kShortest ? QStringLiteral("1/%1 s").arg(number(1 / seconds, 0))
                               : number(seconds, 1) + QStringLiteral(" s");
}

QString exposureText(const QJsonObject& entry)
{
    const QJsonValue exposure = entry[u"exposure"];
    QStringList parts{exposureTimeText(exposure[u"time"].toDouble())};
    if (const double fNumber = exposure[u"fNumber"].toDouble(); fNumber > 0)
        parts << QStringLiteral("f/") + number(fNumber, 1);
    if (const int iso = exposure[u"iso"].toInt(); iso > 0)
        parts << QStringLiteral("ISO %1").arg(iso);
    if (const double bias = exposure[u"bias"].toDouble(); std::abs(bias) >= 0.05)
        parts << (bias > 0 ? QStringLiteral("+") : QString()) + number(bias, 1)
                + QStringLiteral(" EV");
    if (entry[u"flashUsed"].toBool())
        parts << QStringLiteral("flash");
    return joined(parts);
}

QString focalLengthText(const QJsonObject& entry)
{
    const double length = entry[u"exposure"][u"focalLength"].toDouble();
    const double inFilm = entry[u"exposure"][u"focalLengthIn35mm"].toDouble();
    return joined({length > 0 ? number(length, 1) + QStringLiteral(" mm") : QString(),
        inFilm > 0 ? QStringLiteral("as %1 mm on 35 mm film").arg(number(inFilm, 1)) : QString()});
}

QString placeText(const QJsonObject& entry)
{
    const QJsonValue place = entry[u"place"];
    return joined(
        {place[u"city"].toString(), place[u"state"].toString(), place[u"country"].toString()});
}

QString positionText(const QJsonObject& entry)
{
    const QJsonValue place = entry[u"geoPosition"];
    if (!place.isObject())
        return {};
    const double latitude = place[u"latitude"].toDouble();
    const double longitude = place[u"longitude"].toDouble();
    const QJsonValue altitude = entry[u"place"][u"altitude"];
    return joined({number(std::abs(latitude), 6) + (latitude < 0 ? u"° S" : u"° N"),
        number(std::abs(longitude), 6) + (longitude < 0 ? u"° W" : u"° E"),
        altitude.isDouble() ? number(altitude.toDouble(), 0) + u" m" : QString()});
}

QString ratingText(const QJsonObject& entry)
{
    if (entry[u"rejected"].toBool())
        return QStringLiteral("rejected");
    constexpr int kStars = 5;
    const int rating = std::clamp(entry[u"adobeRating"].toInt(), 0, kStars);
    return rating == 0 ? QString() : QString(rating, u'★') + QString(kStars - rating, u'☆');
}

QString listText(const QJsonValue& list)
{
    QStringList texts;
    const QJsonArray values = list.toArray();
    for (const auto& value : values)
        texts << value.toString();
    return joined(texts);
}

QString facesText(const QJsonObject& entry)
{
    QStringList names;
    const QJsonArray faces = entry[u"faces"].toArray();
    for (const auto& face : faces)
        names << face[u"name"].toString();
    const auto nameless = names.removeAll(QString());
    if (nameless > 0)
        names << QStringLiteral("%1 without a name").arg(nameless);
    return joined(names);
}

QString colorsText(const QJsonObject& entry)
{
    const QString name = entry[u"colorProfile"].toString();
    return name.isEmpty() && entry[u"iccBytes"].toInt() > 0 ? QStringLiteral("unnamed profile")
                                                            : name;
}

QString codecText(const QString& codec)
{
    static constexpr std::array<std::pair<const char*, const char*>, 12> kNames{{{"h264", "H.264"},
        {"hevc", "H.265 (HEVC)"},
        {"libdav1d", "AV1"},
        {"libvpx", "VP8"},
        {"libvpx-vp9", "VP9"},
        {"mpeg4", "MPEG-4 Part 2"},
        {"mpeg2video", "MPEG-2"},
        {"mpeg1video", "MPEG-1"},
        {"mjpeg", "Motion JPEG"},
        {"h263", "H.263"},
        {"dvvideo", "DV"},
        {"theora", "Theora"}}};
    for (const auto& [name, title] : kNames) {
        if (codec == QLatin1String(name))
            return QLatin1String(title);
    }
    return codec.toUpper();
}

/// Also of days, which a QTime doesn't hold.
QString durationText(int ms)
{
    constexpr int kMsPerHour = 3600 * 1000;
    const QTime rest = QTime(0, 0).addMSecs(ms % kMsPerHour);
    const int hours = ms / kMsPerHour;
    return hours > 0 ? QStringLiteral("%1:%2").arg(hours).arg(rest.toString(u"mm:ss.zzz"))
                     : rest.toString(u"m:ss.zzz");
}

QString bitRateText(double bitsPerSecond)
{
    constexpr double kMega = 1e6;
    if (bitsPerSecond <= 0)
        return {};
    return bitsPerSecond < kMega ? number(bitsPerSecond / 1000, 0) + u" kbit/s"
                                 : number(bitsPerSecond / kMega, 1) + u" Mbit/s";
}

QString videoText(const QJsonObject& entry)
{
    // Of videos whose rate varies, a higher one is that of a clock which all times fit.
    constexpr double kMaxRate = 1000;
    if (!entry.contains(u"durationMs"))
        return {};
    const double rate = entry[u"framesPerSecond"].toDouble();
    return joined({durationText(entry[u"durationMs"].toInt()),
        rate > 0 && rate <= kMaxRate ? number(rate, 2) + QStringLiteral(" fps") : QString(),
        codecText(entry[u"codec"].toString()),
        bitRateText(entry[u"bitRate"].toDouble())});
}

/// On one line, and without what would control the terminal.
QByteArray line(const QString& label, int width, const QString& text)
{
    const QString cut = text.size() > kMaxTextLength
        ? QStringLiteral("%1… (%2 letters)").arg(text.left(kMaxTextLength)).arg(text.size())
        : text;
    return "  " + Output::escaped((label.leftJustified(width) + u' ' + cut).toUtf8()) + '\n';
}

} // namespace

QByteArray InfoCard::of(const QByteArray& name, const QJsonObject& entry)
{
    const QJsonValue fields = entry[u"fields"];
    const auto field = [&fields](const char* key) { return fields[QLatin1String(key)].toString(); };
    using Group = QList<std::pair<const char*, QString>>;
    const QList<Group> groups{{{"File", fileText(entry)},
                                  {"Size", pictureSize(entry)},
                                  {"Video", videoText(entry)},
                                  {"Taken", dateText(entry)},
                                  {"Place", placeText(entry)},
                                  {"Position", positionText(entry)}},
        {{"Camera", cameraText(entry)},
            {"Lens", entry[u"camera"][u"lens"].toString()},
            {"Exposure", exposureText(entry)},
            {"Focal length", focalLengthText(entry)}},
        {{"Rating", ratingText(entry)},
            {"Title", field("originalFilename")},
            {"Description", field("exifImageDescription")},
            {"Comment", field("exifUserComment")},
            {"Keywords", listText(entry[u"keywords"])},
            {"Faces", facesText(entry)},
            {"Author", field("author")},
            {"Copyright", field("copyright")}},
        {{"Colours", colorsText(entry)},
            {"Thumbnail", sizeText(entry[u"thumbnail"])},
            {"Software", field("exifSoftware")}}};

    QByteArray card = Colors::heading(Output::escaped(name)) + '\n';
    bool isFirst = true;
    for (const Group& group : groups) {
        QByteArray lines;
        for (const auto& [label, text] : group) {
            if (!text.isEmpty())
                lines += line(QLatin1String(label), kLabelWidth, text);
        }
        if (!lines.isEmpty())
            card += (isFirst ? "" : "\n") + lines;
        isFirst = isFirst && lines.isEmpty();
    }
    return card;
}

QByteArray InfoCard::allData(const QJsonObject& entry)
{
    const QJsonObject data = entry[u"interpretedData"].toObject();
    const QStringList keys = data.keys();
    qsizetype width = 0;
    for (const QString& key : keys)
        width = std::clamp(key.size(), width, kMaxKeyWidth);
    QByteArray lines;
    for (const QString& key : keys)
        lines += line(key, int(width), data[key].toString().trimmed());
    return lines;
}

#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"

#include <QDebug>
#include <QStringDecoder>

#include <algorithm>
#include <set>

namespace {

constexpr char kCharacterSet[] = "Iptc.Envelope.CharacterSet";
// ISO 2022: what follows is UTF-8.
constexpr char kUtf8[] = "\x1b%G";

QString toText(const std::string& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder.decode(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    return decoder.hasError() ? QString::fromLatin1(bytes.data(), qsizetype(bytes.size())) : text;
}

QString toText(const Exiv2::Iptcdatum& datum)
{
    return RKExiv2Library::valueOr(QString(), [&] { return toText(datum.toString()); });
}

bool isAscii(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

Exiv2::IptcData::iterator find(Exiv2::IptcData& data, const std::string& key)
{
    return std::find_if(data.begin(), data.end(), [&key](const Exiv2::Iptcdatum& datum) {
        return datum.key() == key;
    });
}

/// Removes the data sets from an iterator on that have the key.
void removeFrom(Exiv2::IptcData& data, Exiv2::IptcData::iterator from, const std::string& key)
{
    while (from != data.end())
        from = from->key() == key ? data.erase(from) : std::next(from);
}

bool isMarkedAsUtf8(const Exiv2::IptcData& data)
{
    return std::any_of(data.begin(), data.end(), [](const Exiv2::Iptcdatum& datum) {
        return datum.key() == kCharacterSet && datum.toString() == kUtf8;
    });
}

void makeUtf8(Exiv2::Iptcdatum* datum)
{
    if (datum->typeId() == Exiv2::string)
        datum->setValue(toText(*datum).toStdString());
}

} // namespace

RKExiv2IptcData::RKExiv2IptcData() = default;

RKExiv2IptcData::RKExiv2IptcData(const RKExiv2ImagePtr& image)
    : m_data(image->iptcData())
{
}

RKExiv2IptcData::~RKExiv2IptcData() = default;

Exiv2::MetadataId RKExiv2IptcData::supportedMetaData() const
{
    return Exiv2::mdIptc;
}

QString RKExiv2IptcData::readString(const char* key) const
{
    QStringList texts;
    for (const Exiv2::Iptcdatum& datum : m_data) {
        if (datum.key() == key)
            texts.append(toText(datum));
    }
    return texts.join(QLatin1String(", "));
}

QString RKExiv2IptcData::stringWithLocale(const char* key) const
{
    return RKExiv2LanguageText::defaultText(readString(key));
}

QDateTime RKExiv2IptcData::dateTime(const char* dateKey, const char* timeKey) const
{
    // The first of several; and exiv2 prints the offset of a time too, which QTime does not read.
    static constexpr qsizetype kDateLength = 10;
    static constexpr qsizetype kTimeLength = 8;
    const QDate date = QDate::fromString(readString(dateKey).left(kDateLength), Qt::ISODate);
    const QTime time = QTime::fromString(readString(timeKey).left(kTimeLength), Qt::ISODate);
    return QDateTime(date, time.isValid() ? time : QTime(0, 0));
}

bool RKExiv2IptcData::store(const char* key, const QString& value)
{
    const Exiv2::IptcKey iptcKey(key);
    const auto parsed = RKExiv2Compat::makeValue(
        Exiv2::IptcDataSets::dataSetType(iptcKey.tag(), iptcKey.record()));
    if (parsed->read(value.toStdString()) != 0)
        return false;
    const std::string text = iptcKey.key();
    m_changedKeys.insert(text);
    const auto first = find(m_data, text);
    if (first == m_data.end())
        return m_data.add(iptcKey, parsed.get()) == 0;
    first->setValue(parsed.get());
    removeFrom(m_data, std::next(first), text);
    return true;
}

void RKExiv2IptcData::markCharacterSet()
{
    // Null for data that are neither ASCII nor UTF-8.
    if (m_data.detectCharset() && !isMarkedAsUtf8(m_data))
        store(kCharacterSet, QLatin1String(kUtf8));
}

void RKExiv2IptcData::writeString(const char* key, const QString& value)
{
    try {
        if (store(key, value)) {
            if (!isAscii(value))
                markCharacterSet();
            return;
        }
    } catch (const Exiv2::Error& error) {
        describeError(
            QStringLiteral("void RKExiv2IptcData::writeString(const char *, const QString &)"),
            error);
        qWarning().noquote() << "Parameters:" << key << value;
        return;
    } catch (...) {
    }
    RKExiv2Library::reportUnchanged(key, value);
}

void RKExiv2IptcData::writeStringWithLocale(const char* key, const QString& value)
{
    writeString(key, value);
}

void RKExiv2IptcData::setInt(const char* key, int value)
{
    writeString(key, QString::number(value));
}

void RKExiv2IptcData::setDateTime(const char* dateKey, const char* timeKey, const QDateTime& value)
{
    if (!value.isValid())
        return;
    writeString(dateKey, value.date().toString(Qt::ISODate));
    writeString(timeKey, value.time().toString(Qt::ISODate));
}

QHash<QString, QString> RKExiv2IptcData::allData() const
{
    QHash<QString, QString> all;
    for (const Exiv2::Iptcdatum& datum : m_data) {
        QString& text = all[RKExiv2Compat::keyText(datum)];
        if (!text.isEmpty())
            text += QLatin1String(", ");
        text += toText(datum);
    }
    return all;
}

bool RKExiv2IptcData::mergeTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    mergeInto(image->iptcData());
    return true;
}

bool RKExiv2IptcData::mergeChangesTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    Exiv2::IptcData& target = image->iptcData();
    if (!hasMostOf(m_data, m_changedKeys, target))
        return mergeTo(image);
    for (const std::string& key : m_changedKeys)
        removeFrom(target, target.begin(), key);
    if (!m_changedKeys.empty())
        merge(target, [this](const std::string& key) { return m_changedKeys.count(key) != 0; });
    return true;
}

void RKExiv2IptcData::mergeInto(Exiv2::IptcData& target) const
{
    merge(target, [](const std::string&) { return true; });
}

template <typename IsMerged>
void RKExiv2IptcData::merge(Exiv2::IptcData& target, IsMerged isMerged) const
{
    // The mark is for all texts, so that those of the side without it have to follow.
    const bool isMarked = isMarkedAsUtf8(m_data);
    const bool isTargetMarked = isMarkedAsUtf8(target);
    if (isMarked && !isTargetMarked)
        std::for_each(target.begin(), target.end(), [](auto& datum) { makeUtf8(&datum); });

    std::set<std::string> held;
    for (Exiv2::Iptcdatum datum : m_data) {
        if (!isMerged(datum.key()))
            continue;
        if (isTargetMarked && !isMarked)
            makeUtf8(&datum);
        // The first one of a key makes room for all.
        if (held.insert(datum.key()).second)
            removeFrom(target, target.begin(), datum.key());
        target.add(datum);
    }
}

void RKExiv2IptcData::clear()
{
    m_data.clear();
}

#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKIptcText_p.h"
#include "RKImageLoader/metadata/exiv2/RKWallTime_p.h"

#include <QDebug>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr char kCharacterSet[] = "Iptc.Envelope.CharacterSet";
// ISO 2022: what follows is UTF-8.
constexpr char kUtf8[] = "\x1b%G";

/// What records 2 to 6 hold as text; the character set is not for the envelope (IIM 4.2, 1:90).
/// Data sets that exiv2 does not know may hold anything.
bool isText(const Exiv2::Iptcdatum& datum)
{
    return datum.typeId() == Exiv2::string && datum.record() != Exiv2::IptcDataSets::envelope
        && Exiv2::IptcDataSets::dataSetName(datum.tag(), datum.record()).compare(0, 2, "0x") != 0;
}

QByteArray bytesOf(const Exiv2::Iptcdatum& datum)
{
    QByteArray bytes(RKExiv2Compat::size(datum), Qt::Uninitialized);
    datum.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), Exiv2::bigEndian);
    return bytes;
}

QString toText(const Exiv2::Iptcdatum& datum)
{
    return RKExiv2Library::valueOr(QString(), [&] {
        const std::string text = datum.toString();
        return RKIptcText::fromBytes({text.data(), qsizetype(text.size())});
    });
}

/// Removes the data sets that have the key. Erased singly, each moves all that follow it.
void removeFrom(Exiv2::IptcData& data, const std::string& key)
{
    Exiv2::IptcData kept;
    for (const Exiv2::Iptcdatum& datum : data) {
        if (datum.key() != key)
            kept.add(datum);
    }
    data = kept;
}

bool isMarkedAsUtf8(const Exiv2::IptcData& data)
{
    return std::any_of(data.begin(), data.end(), [](const Exiv2::Iptcdatum& datum) {
        return datum.key() == kCharacterSet && datum.toString() == kUtf8;
    });
}

void markAsUtf8(Exiv2::IptcData& data)
{
    removeFrom(data, kCharacterSet);
    Exiv2::StringValue mark(kUtf8);
    data.add(Exiv2::IptcKey(kCharacterSet), &mark);
}

void setText(Exiv2::Iptcdatum& datum, const QByteArray& bytes)
{
    Exiv2::StringValue value(bytes.toStdString());
    datum.setValue(&value);
}

/// The predicate holds for the bytes of all texts.
template <typename Predicate>
bool haveTexts(const Exiv2::IptcData& data, Predicate predicate)
{
    return std::all_of(data.begin(), data.end(), [&predicate](const Exiv2::Iptcdatum& datum) {
        return !isText(datum) || predicate(bytesOf(datum));
    });
}

/// Encodes all texts anew.
template <typename Encode>
void encodeTexts(Exiv2::IptcData& data, Encode encode)
{
    for (Exiv2::Iptcdatum& datum : data) {
        if (isText(datum))
            setText(datum, encode(bytesOf(datum)));
    }
}

/// Encodes texts that are to join others in a file, so that no program reads those others
/// differently from before.
void makeTextsFit(Exiv2::IptcData& added, Exiv2::IptcData& others, bool isAddedMarked)
{
    const auto toUtf8
        = [](const QByteArray& bytes) { return RKIptcText::fromBytes(bytes).toUtf8(); };
    const auto toWindows1252 = [](const QByteArray& bytes) {
        return RKIptcText::toWindows1252(RKIptcText::fromBytes(bytes));
    };
    if (haveTexts(added, RKIptcText::isAscii) && !isAddedMarked)
        return;
    const bool isMarked = isMarkedAsUtf8(others);
    const bool hasMark = std::any_of(others.begin(), others.end(), [](const auto& datum) {
        return datum.key() == kCharacterSet;
    });
    if (isMarked || haveTexts(others, RKIptcText::isAscii)) {
        encodeTexts(added, toUtf8);
        if (!isMarked)
            markAsUtf8(others);
    } else if (!hasMark && haveTexts(others, RKIptcText::isUtf8)) {
        // Texts that are UTF-8 without saying so stay as they are, and get company.
        encodeTexts(added, toUtf8);
    } else if (haveTexts(
                   added, [&](const QByteArray& bytes) { return bool(toWindows1252(bytes)); })) {
        // What readers take unmarked texts for.
        encodeTexts(added, [&](const QByteArray& bytes) { return *toWindows1252(bytes); });
    } else {
        encodeTexts(added, toUtf8);
        encodeTexts(others,
            [](const QByteArray& bytes) { return RKIptcText::fromWindows1252(bytes).toUtf8(); });
        markAsUtf8(others);
    }
}

} // namespace

RKExiv2IptcData::RKExiv2IptcData() = default;

RKExiv2IptcData::RKExiv2IptcData(const RKExiv2ImagePtr& image)
    : RKExiv2IptcData(image->iptcData())
{
}

RKExiv2IptcData::RKExiv2IptcData(const Exiv2::IptcData& data)
    : m_data(data)
{
}

RKExiv2IptcData::~RKExiv2IptcData() = default;

Exiv2::MetadataId RKExiv2IptcData::supportedMetaData() const
{
    return Exiv2::mdIptc;
}

QString RKExiv2IptcData::readString(const char* key) const
{
    return readStringList(key).join(QLatin1String(", "));
}

QStringList RKExiv2IptcData::readStringList(const char* key) const
{
    QStringList texts;
    for (const Exiv2::Iptcdatum& datum : m_data) {
        if (datum.key() == key)
            texts.append(toText(datum));
    }
    return texts;
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
    return RKWallTime::toDateTime({date, time.isValid() ? time : QTime(0, 0), {}});
}

bool RKExiv2IptcData::store(const char* key, const QStringList& values)
{
    const Exiv2::IptcKey iptcKey(key);
    std::vector<std::unique_ptr<Exiv2::Value>> parsed;
    for (const QString& value : values) {
        parsed.push_back(RKExiv2Compat::makeValue(
            Exiv2::IptcDataSets::dataSetType(iptcKey.tag(), iptcKey.record())));
        if (parsed.back()->read(value.toStdString()) != 0)
            return false;
    }
    const std::string text = iptcKey.key();
    m_changedKeys.insert(text);
    removeFrom(m_data, text);
    return std::all_of(parsed.begin(), parsed.end(), [&](const auto& value) {
        return m_data.add(iptcKey, value.get()) == 0;
    });
}

void RKExiv2IptcData::writeString(const char* key, const QString& value)
{
    writeStringList(key, {value});
}

void RKExiv2IptcData::writeStringList(const char* key, const QStringList& values)
{
    const QString text = values.join(QLatin1String(", "));
    try {
        if (store(key, values))
            return;
    } catch (const Exiv2::Error& error) {
        describeError(
            QStringLiteral("void RKExiv2IptcData::writeString(const char *, const QString &)"),
            error);
        qWarning().noquote() << "Parameters:" << key << text;
        return;
    } catch (...) {
    }
    RKExiv2Library::reportUnchanged(key, text);
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
    const RKWallTime::Moment moment = RKWallTime::fromDateTime(value);
    if (!moment.isValid())
        return;
    writeString(dateKey, moment.date.toString(Qt::ISODate));
    writeString(timeKey, moment.time.toString(Qt::ISODate) + RKWallTime::offsetText(moment));
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
    if (!targetHasMostOf(m_data, target))
        return mergeTo(image);
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
    const Values held = valuesOf(m_data);
    const Values inTarget = valuesOf(target);
    std::set<Id> changed;
    for (const auto& [id, values] : held) {
        const auto old = inTarget.find(id);
        if (old == inTarget.end() || values != old->second)
            changed.insert(id);
    }
    const auto isReplaced = [&](const Exiv2::Iptcdatum& datum) {
        const Id id(datum.record(), datum.tag());
        if (!held.contains(id))
            return m_changedKeys.count(datum.key()) != 0;
        return changed.contains(id) && datum.key() != kCharacterSet && isMerged(datum.key());
    };
    Exiv2::IptcData added;
    for (const Exiv2::Iptcdatum& datum : m_data) {
        // exiv2 would not find an empty one at the end of the file's data sets.
        if (isReplaced(datum) && RKExiv2Compat::size(datum) > 0)
            added.add(datum);
    }
    Exiv2::IptcData merged;
    for (const Exiv2::Iptcdatum& datum : target) {
        if (!isReplaced(datum))
            merged.add(datum);
    }
    if (!added.empty())
        makeTextsFit(added, merged, isMarkedAsUtf8(m_data));
    for (const Exiv2::Iptcdatum& datum : added)
        merged.add(datum);
    target = merged;
}

RKExiv2IptcData::Values RKExiv2IptcData::valuesOf(const Exiv2::IptcData& data)
{
    Values values;
    for (const Exiv2::Iptcdatum& datum : data)
        values[Id(datum.record(), datum.tag())].append(bytesOf(datum));
    return values;
}

void RKExiv2IptcData::clear()
{
    m_data.clear();
}

std::set<std::string> RKExiv2IptcData::differences(const RKExiv2IptcData& other) const
{
    const auto textsOf = [](const Exiv2::IptcData& data) {
        std::map<std::string, QStringList> texts;
        for (const Exiv2::Iptcdatum& datum : data)
            texts[datum.key()].append(toText(datum));
        texts.erase(kCharacterSet);
        return texts;
    };
    std::set<std::string> keys;
    const auto texts = textsOf(m_data);
    const auto others = textsOf(other.m_data);
    const auto addMissing = [&keys](const auto& left, const auto& right) {
        for (const auto& [key, values] : left) {
            const auto found = right.find(key);
            if (found == right.end() || found->second != values)
                keys.insert(key);
        }
    };
    addMissing(texts, others);
    addMissing(others, texts);
    return keys;
}

void RKExiv2IptcData::takeOver(const std::set<std::string>& keys, const RKExiv2IptcData& other)
{
    for (const std::string& key : keys)
        removeFrom(m_data, key);
    for (const Exiv2::Iptcdatum& datum : other.m_data) {
        if (keys.count(datum.key()) != 0)
            m_data.add(datum);
    }
    m_changedKeys.insert(keys.begin(), keys.end());
    const auto isMark = [](const Exiv2::Iptcdatum& datum) { return datum.key() == kCharacterSet; };
    if (other.m_data.empty() && std::all_of(m_data.begin(), m_data.end(), isMark)) {
        m_data.clear();
        m_changedKeys.insert(kCharacterSet);
    }
}

#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"

#include <algorithm>
#include <array>

namespace {

constexpr quint64 kSignatureSize = 4;

// Photoshop's own, and those of programs that keep to its numbers.
constexpr std::array kSignatures = {"8BIM", "AgHg", "DCSR", "PHUT"};

QByteArray padded(const QByteArray& resource)
{
    return resource.size() % 2 == 0 ? resource : resource + '\0';
}

} // namespace

RKPhotoshopResources::RKPhotoshopResources(QByteArrayView section)
    : m_section(section)
    , m_rest(section)
{
    RKByteReader reader(section);
    while (!reader.rest().isEmpty()) {
        const qsizetype start = reader.position();
        const QByteArrayView signature = reader.take(kSignatureSize);
        Resource resource;
        resource.number = reader.number<quint16>();
        resource.isPhotoshops = std::any_of(kSignatures.begin(),
            kSignatures.end(),
            [&signature](const char* known) { return signature == known; });
        // A name takes an even number of bytes, together with its length.
        const auto nameLength = reader.number<quint8>();
        reader.take(quint64(nameLength | 1));
        const auto length = reader.number<quint32>();
        resource.data = reader.take(length);
        if (!reader.isGood())
            return;
        resource.bytes = section.sliced(start, reader.position() - start);
        // The last one may lack its padding.
        if (length % 2 == 1 && !reader.rest().isEmpty())
            resource.padding = reader.take(1);
        m_resources.append(resource);
        m_rest = reader.rest();
    }
}

const QList<RKPhotoshopResources::Resource>& RKPhotoshopResources::all() const
{
    return m_resources;
}

QByteArrayView RKPhotoshopResources::rest() const
{
    return m_rest;
}

QByteArrayList RKPhotoshopResources::data(quint16 number) const
{
    QByteArrayList data;
    for (const Resource& resource : m_resources) {
        if (resource.isPhotoshops && resource.number == number)
            data.append(resource.data.toByteArray());
    }
    return data;
}

QByteArray RKPhotoshopResources::with(quint16 number, const QByteArrayList& data) const
{
    QByteArray section;
    const auto append = [&](const QByteArray& wanted) {
        if (!wanted.isEmpty())
            section = padded(section) + padded(resource(number, wanted));
    };
    qsizetype at = 0;
    qsizetype used = 0;
    for (const Resource& old : m_resources) {
        if (!old.isPhotoshops || old.number != number)
            continue;
        const QByteArray wanted = data.value(used++);
        if (wanted == old.data)
            continue;
        const qsizetype start = old.bytes.data() - m_section.data();
        section += m_section.sliced(at, start - at);
        append(wanted);
        at = start + old.bytes.size() + old.padding.size();
    }
    section += m_section.sliced(at, m_section.size() - m_rest.size() - at);
    for (; used < data.size(); ++used)
        append(data[used]);
    return section + m_rest;
}

QByteArray RKPhotoshopResources::resource(quint16 number, const QByteArray& data)
{
    return "8BIM" + RKByteReader::bytesOf(number) + QByteArray(2, '\0')
        + RKByteReader::bytesOf(static_cast<quint32>(data.size())) + data;
}

QByteArray RKPhotoshopResources::nameOf(const Resource& resource)
{
    return "resource 0x" + QByteArray::number(resource.number, 16).rightJustified(4, '0');
}

#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcBlocks_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"

#include <memory>

namespace {

/// The bytes of an opened image.
class IoSource final : public RKByteSource
{
public:
    explicit IoSource(Exiv2::BasicIo& io)
        : m_io(io)
        , m_size(static_cast<qint64>(io.size()))
    {
    }

    qint64 size() const override
    {
        return m_size;
    }

    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override
    {
        bytes->clear();
        if (offset < 0 || size < 0 || offset > m_size || size > m_size - offset)
            return false;
        if (m_io.seek(offset, Exiv2::BasicIo::beg) == 0)
            *bytes = RKExiv2Compat::read(m_io, size);
        return bytes->size() == size;
    }

private:
    Exiv2::BasicIo& m_io;
    // Asking for it is a call of the system.
    const qint64 m_size;
};

Exiv2::IptcData dataOf(const QByteArrayList& blocks)
{
    const QByteArray block = RKIptcEditor::joined(blocks);
    Exiv2::IptcData data;
    Exiv2::IptcParser::decode(data,
        reinterpret_cast<const Exiv2::byte*>(block.constData()),
        static_cast<uint32_t>(block.size()));
    return data;
}

/// Photoshop's resources, beside the tag that holds nothing but data sets.
void readResources(Exiv2::Image& image)
{
    const Exiv2::ExifData& exif = image.exifData();
    const auto datum = exif.findKey(Exiv2::ExifKey("Exif.Image.ImageResources"));
    if (datum == exif.end())
        return;
    QByteArray bytes(RKExiv2Compat::size(*datum), Qt::Uninitialized);
    datum->copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), Exiv2::bigEndian);
    const Exiv2::IptcData found
        = dataOf(RKPhotoshopResources(bytes).data(RKPhotoshopResources::kIptc));
    const RKExiv2IptcData::Values known = RKExiv2IptcData::valuesOf(image.iptcData());
    for (const Exiv2::Iptcdatum& other : found) {
        if (known.find({other.record(), other.tag()}) == known.end())
            image.iptcData().add(other);
    }
}

void readParts(Exiv2::Image& image)
{
    Exiv2::BasicIo& io = image.io();
    if (io.open() != 0)
        return;
    const Exiv2::IoCloser closer(io);
    const RKImageFileParts parts(std::make_shared<IoSource>(io));
    const qsizetype places = parts.parts(RKImageFileParts::Content::Iptc).size();
    const QByteArrayList blocks = parts.iptcBlocks();
    // exiv2 reads one well.
    if (places > 1 || blocks.size() > 1)
        image.iptcData() = dataOf(blocks);
}

} // namespace

void RKExiv2IptcBlocks::readAll(Exiv2::Image& image)
{
    if (RKExiv2Compat::isTiffBased(image))
        readResources(image);
    else
        readParts(image);
}

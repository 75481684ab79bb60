// The parts of an image file: put together again they are the file, and they take other metadata.
// The first two bytes choose these, the rest is the image, as in the inputs of Save.
#include "Fuzzing.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"

namespace {

using Content = RKImageFileParts::Content;

bool setBlock(RKImageFileParts& parts, Content content, const QByteArray& block)
{
    switch (content) {
    case Content::Exif: return parts.setExifBlock(block);
    case Content::Iptc: return parts.setIptcBlocks({block});
    case Content::Xmp: return parts.setXmpPacket(block);
    default: return parts.setIccProfile(block);
    }
}

QByteArray block(const RKImageFileParts& parts, Content content)
{
    switch (content) {
    case Content::Exif: return parts.exifBlock();
    case Content::Iptc: return parts.iptcBlocks().value(0);
    case Content::Xmp: return parts.xmpPacket();
    default: return parts.iccProfile();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 2)
        return 0;
    const QByteArray file = quietInput(bytes + 2, size - 2);
    const RKImageFileParts parts(file);
    parts.skeleton();
    if (!parts.isValid())
        return 0;
    // Sizes, flags and padding of a WebP file follow from its parts.
    const QByteArray whole = parts.file();
    const RKImageFileParts again(whole);
    if (whole != file && !file.startsWith("RIFF"))
        qFatal("put together, the parts are another file");
    if (again.file() != whole || !RKImageFileParts::firstDifference(parts, again, {}).isEmpty())
        qFatal("put together, the file has other parts");

    constexpr Content kContents[] = {Content::Exif, Content::Iptc, Content::Xmp, Content::Icc};
    const Content content = kContents[bytes[0] % std::size(kContents)];
    const QByteArray written(bytes[1], 'x');
    RKImageFileParts changed = parts;
    if (!setBlock(changed, content, written)) {
        if (changed.file() != whole)
            qFatal("a refused change has changed the file");
        return 0;
    }
    if (block(changed, content) != written)
        qFatal("the new block is another one");
    const QString lost = RKImageFileParts::firstDifference(parts, changed, {content});
    if (!lost.isEmpty())
        qFatal("more than the block has changed: %s", qPrintable(lost));
    changed.read().skeleton();
    return 0;
}

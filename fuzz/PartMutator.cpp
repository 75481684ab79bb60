// Mutates files of chunks or segments as such, at every other turn: one is left out,
// doubled, or changed inside, and lengths and checksums follow. libFuzzer's own mutations mostly
// break these, so that readers give up early.
#include <QByteArray>
#include <QList>

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace {

struct Layout
{
    QByteArrayView magic;
    int start, headSize, lengthAt, lengthSize, counted, checksumSize;
    bool isRiff = false;
};

constexpr std::array kLayouts{Layout{"\x89PNG", 8, 8, 0, 4, 0, 4},
    Layout{"\x8aMNG", 8, 8, 0, 4, 0, 4},
    Layout{"RIFF", 12, 8, 4, 4, 0, 0, true},
    Layout{"\xff\xd8\xff", 2, 4, 2, 2, 2, 0}};

int shiftOf(int i, const Layout& layout)
{
    return 8 * (layout.isRiff ? i : layout.lengthSize - 1 - i);
}

/// The size of the part at the beginning, without its checksum; 0 where there is none.
qsizetype sizeOfPart(QByteArrayView text, const Layout& layout)
{
    if (text.size() < layout.headSize)
        return 0;
    qint64 size = layout.headSize - layout.counted;
    for (int i = 0; i < layout.lengthSize; ++i)
        size += qint64(uchar(text[layout.lengthAt + i])) << shiftOf(i, layout);
    return size >= layout.headSize && size + layout.checksumSize <= text.size() ? size : 0;
}

/// With another length and checksum.
QByteArray repaired(QByteArray part, const Layout& layout)
{
    const qsizetype length = part.size() - layout.headSize + layout.counted;
    for (int i = 0; i < layout.lengthSize; ++i)
        part[layout.lengthAt + i] = char(length >> shiftOf(i, layout));
    const auto* const bytes = reinterpret_cast<const Bytef*>(part.constData());
    const auto sum = crc32(0, bytes + 4, static_cast<uInt>(part.size() - 4));
    for (int shift = 24; layout.checksumSize > 0 && shift >= 0; shift -= 8)
        part.append(char(sum >> shift));
    return layout.isRiff && part.size() % 2 != 0 ? part + '\0' : part;
}

QByteArray mutated(
    const QByteArray& text, qsizetype start, const Layout& layout, std::minstd_rand& random)
{
    QList<qsizetype> places{std::min(start, text.size())};
    while (const qsizetype size = sizeOfPart(QByteArrayView(text).sliced(places.last()), layout)) {
        const qsizetype even = layout.isRiff ? (size + 1) / 2 * 2 : size;
        places.append(std::min(places.last() + even + layout.checksumSize, text.size()));
    }
    if (places.size() < 2)
        return text;
    const qsizetype chosen = random() % (places.size() - 1);
    const QByteArray whole = text.mid(places[chosen], places[chosen + 1] - places[chosen]);
    QByteArray part = whole.first(sizeOfPart(whole, layout));
    const QByteArray before = text.first(places[chosen]);
    const QByteArray after = text.mid(places[chosen + 1]);
    if (const auto way = random() % 8; way < 2)
        return before + (way == 0 ? QByteArray() : whole + whole) + after;
    const auto size = size_t(part.size() - layout.headSize);
    part.resize(part.size() + 64);
    auto* const body = reinterpret_cast<uint8_t*>(part.data() + layout.headSize);
    part.resize(layout.headSize + qsizetype(LLVMFuzzerMutate(body, size, size + 64)));
    return before + repaired(part, layout) + after;
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(
    uint8_t* data, size_t size, size_t maxSize, unsigned int seed)
{
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    std::minstd_rand random(seed);
    const bool isTurn = random() % 2 == 0;
    // Some targets have bytes of their own before the file.
    for (qsizetype at = 0; isTurn && at < 3; ++at) {
        for (const Layout& layout : kLayouts) {
            if (!input.mid(at).startsWith(layout.magic))
                continue;
            const QByteArray changed = mutated(input, at + layout.start, layout, random);
            if (size_t(changed.size()) > maxSize)
                break;
            std::memcpy(data, changed.constData(), size_t(changed.size()));
            return size_t(changed.size());
        }
    }
    return LLVMFuzzerMutate(data, size, maxSize);
}

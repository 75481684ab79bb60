#include "RKImageLoader/files/RKSparseBytes_p.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>

/// Memory of zeros, of which only those pages exist that are written to.
class RKSparseBytes::Pages
{
    Q_DISABLE_COPY_MOVE(Pages)

public:
    explicit Pages(qint64 size)
        : m_size(size)
        , m_data(::mmap(nullptr,
              static_cast<size_t>(size),
              PROT_READ | PROT_WRITE,
              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
              -1,
              0))
    {
        if (m_data == MAP_FAILED)
            throw std::bad_alloc();
#ifdef MADV_NOHUGEPAGE
        // Each byte written would take two megabytes.
        ::madvise(m_data, static_cast<size_t>(size), MADV_NOHUGEPAGE);
#endif
    }

    ~Pages()
    {
        ::munmap(m_data, static_cast<size_t>(m_size));
    }

    qint64 size() const
    {
        return m_size;
    }

    char* data() const
    {
        return static_cast<char*>(m_data);
    }

private:
    const qint64 m_size;
    void* const m_data;
};

RKSparseBytes::RKSparseBytes(const QByteArray& bytes)
    : m_bytes(bytes)
{
}

RKSparseBytes RKSparseBytes::hole(qint64 size)
{
    RKSparseBytes bytes;
    if (size <= 0)
        return bytes;
    bytes.m_pages = std::make_shared<Pages>(size);
    bytes.m_bytes = QByteArray::fromRawData(bytes.m_pages->data(), size);
    bytes.m_holes = {{0, quint64(size)}};
    return bytes;
}

qint64 RKSparseBytes::size() const
{
    return m_bytes.size();
}

const QByteArray& RKSparseBytes::array() const
{
    return m_bytes;
}

QByteArrayView RKSparseBytes::view() const
{
    return m_bytes;
}

const RKByteRanges::List& RKSparseBytes::holes() const
{
    return m_holes;
}

bool RKSparseBytes::hasHole(const RKByteRange& range) const
{
    return RKByteRanges::overlap(m_holes, range);
}

/// Memory for so many bytes that nobody shares, with those that are held now.
char* RKSparseBytes::writable(qint64 size)
{
    // Pages that are not used cost nothing.
    constexpr qint64 kReserve = 64 * 1024 * 1024;
    if (!m_pages) {
        m_bytes.resize(size);
        return m_bytes.data();
    }
    if (m_pages.use_count() > 1 || m_pages->size() < size) {
        const auto pages = std::make_shared<Pages>(size + kReserve);
        const quint64 kept = quint64(std::min(size, this->size()));
        for (const RKByteRange& held : RKByteRanges::without({0, kept}, m_holes))
            std::memcpy(pages->data() + held.start, m_pages->data() + held.start, held.size());
        m_pages = pages;
    }
    m_bytes = QByteArray::fromRawData(m_pages->data(), size);
    return m_pages->data();
}

void RKSparseBytes::overwrite(qint64 place, QByteArrayView bytes)
{
    Q_ASSERT(place >= 0 && place <= size());
    if (bytes.isEmpty())
        return;
    char* const data = writable(std::max(size(), place + bytes.size()));
    std::memcpy(data + place, bytes.data(), size_t(bytes.size()));

    const RKByteRange written{quint64(place), quint64(place + bytes.size())};
    const auto first = std::lower_bound(
        m_holes.begin(), m_holes.end(), written.start, [](const RKByteRange& hole, quint64 start) {
            return hole.end <= start;
        });
    auto last = first;
    RKByteRanges::List rest;
    for (; last != m_holes.end() && last->start < written.end; ++last) {
        if (last->start < written.start)
            rest.push_back({last->start, written.start});
        if (last->end > written.end)
            rest.push_back({written.end, last->end});
    }
    m_holes.insert(m_holes.erase(first, last), rest.begin(), rest.end());
}

void RKSparseBytes::resize(qint64 size)
{
    const qint64 old = this->size();
    char* const data = writable(size);
    if (size > old) {
        std::memset(data + old, 0, size_t(size - old));
        return;
    }
    m_holes = RKByteRanges::without(m_holes, {{quint64(size), quint64(old) + 1}});
}

QList<RKFilePiece> RKSparseBytes::pieces() const
{
    if (!m_pages)
        return {{m_bytes, 0, 0}};
    QList<RKFilePiece> pieces;
    quint64 end = 0;
    const auto addHeld = [&](quint64 start, quint64 heldEnd) {
        if (heldEnd > start)
            pieces.append(
                {view().sliced(qsizetype(start), qsizetype(heldEnd - start)).toByteArray(), 0, 0});
    };
    for (const RKByteRange& hole : m_holes) {
        addHeld(end, hole.start);
        pieces.append({{}, qint64(hole.start), qint64(hole.size())});
        end = hole.end;
    }
    addHeld(end, quint64(size()));
    return pieces;
}

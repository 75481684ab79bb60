#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcBlocks_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2SegmentProbe_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/metadata/exiv2/RKSidecarDate_p.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpNames_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"

#include <QDebug>
#include <QMutexLocker>
#include <QWriteLocker>

#include <map>
#include <mutex>
#include <set>
#include <string_view>

namespace {

constexpr RKXmpNamespace kHost = RKXmpNames::kHostNamespace;

/// Ends in a slash, which exiv2 appends to every namespace that it decodes.
std::string hostNamespace()
{
    return std::string(kHost.uri) + '/';
}

void logToQt(int level, const char* message)
{
    Q_UNUSED(level)
    qCDebug(rkMetadata).noquote() << QByteArray(message).trimmed();
}

/// The namespace of a prefix; empty for a prefix that exiv2 does not know.
std::string namespaceOf(const std::string& prefix)
{
    try {
        return Exiv2::XmpProperties::ns(prefix);
    } catch (const Exiv2::Error&) {
        return {};
    }
}

/// Tells the toolkit the namespaces that exiv2 knows from files. Every encoding begins with that,
/// and it takes away the prefix that the toolkit has seen last with such a namespace, be it "dc".
void registerNamespacesOfFiles()
{
    RKExiv2Library::valueOr(0, [] {
        Exiv2::XmpData data;
        data["Xmp.xmp.Rating"] = std::string("0");
        std::string packet;
        return Exiv2::XmpParser::encode(packet, data);
    });
}

/// Tells the toolkit the namespaces that are built into exiv2 and lists all that it knows.
Exiv2::Dictionary registerBuiltInNamespaces()
{
    Exiv2::Dictionary prefixes;
    try {
        Exiv2::XmpProperties::registeredNamespaces(prefixes);
    } catch (const std::exception&) {
        // The registration comes first; only the listing after it fails on a registry that a file
        // has filled with contradictions.
    }
    return prefixes;
}

/// The prefixes that exiv2 knows, with their namespaces.
RKXmpNamespaces::Table knownNamespaces()
{
    // The toolkit does not list our own.
    RKXmpNamespaces::Table table{{std::string(kHost.prefix), hostNamespace()}};
    for (const auto& entry : registerBuiltInNamespaces()) {
        // The toolkit has namespaces of its own that exiv2 gives no keys.
        if (const std::string uri = namespaceOf(entry.first); !uri.empty())
            table.emplace(entry.first, uri);
    }
    return table;
}

/// Some writers leave bytes after the end of a packet, for which exiv2 refuses all of it, as it
/// does for UTF-16 that begins with the lower byte, and for UTF-32. Where RDF has a prefix of its
/// own, it finds nothing.
void decodeRefused(Exiv2::Image& image)
{
    if (!image.xmpData().empty())
        return;
    std::string packet = RKExiv2XmpPackets::packetOf(image);
    for (const std::string_view mark : {"<?xpacket end", "</x:xmpmeta"}) {
        const size_t end = packet.find('>', packet.rfind(mark));
        if (end == std::string::npos)
            continue;
        packet.resize(end + 1);
        Exiv2::XmpData data;
        std::string known = packet;
        if (RKExiv2XmpPackets::decodeWithKnownPrefixes(&known, &data) == 0) {
            image.xmpPacket() = packet;
            image.xmpData() = data;
        }
        return;
    }
}

/// exiv2 has derived the other families from keys with the prefixes of the packet, of which some
/// may stand for other namespaces.
void deriveFromFinalKeys(Exiv2::Image& sidecar)
{
    std::string packet = RKExiv2XmpPackets::packetOf(sidecar);
    if (!RKExiv2XmpPackets::hasForeignKeys(
            sidecar.xmpData(), RKXmpPacketParser::ownNamespaces(packet))
        || RKXmpLimits::areExceededBy(packet))
        return;
    RKExiv2Library::refreshNamespaces();
    if (RKExiv2XmpPackets::decodeWithKnownPrefixes(&packet, &sidecar.xmpData()) != 0)
        return;
    sidecar.exifData().clear();
    sidecar.iptcData().clear();
    Exiv2::copyXmpToExif(sidecar.xmpData(), sidecar.exifData());
    Exiv2::copyXmpToIptc(sidecar.xmpData(), sidecar.iptcData());
}

} // namespace

void RKExiv2Library::initialize()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setHandler(logToQt);
        Exiv2::XmpParser::initialize();
        Exiv2::XmpProperties::registerNs(hostNamespace(), std::string(kHost.prefix));
#if !EXIV2_TEST_VERSION(0, 28, 0) && defined(EXV_ENABLE_BMFF)
        Exiv2::enableBMFF();
#endif
        RKXmpNamespaces::setKnown(knownNamespaces());
    });
}

QReadWriteLock* RKExiv2Library::xmpLock()
{
    // Never destroyed: threads may still read metadata while the process ends.
    static auto* const lock = new QReadWriteLock(QReadWriteLock::Recursive);
    return lock;
}

void RKExiv2Library::restoreKnownPrefixes()
{
    for (const auto& [prefix, uri] : RKXmpNamespaces::known()) {
        if (const std::string current = namespaceOf(prefix); current != uri)
            Exiv2::XmpProperties::unregisterNs(current);
        // A built-in prefix has come back; our own has not.
        if (namespaceOf(prefix) != uri)
            Exiv2::XmpProperties::registerNs(uri, prefix);
    }
}

void RKExiv2Library::registerForeignNamespace(const std::string& uri, const std::string& prefix)
{
    valueOr(false, [&] {
        const std::string registered = namespaceOf(prefix);
        if (registered != uri && registered != uri + '/')
            Exiv2::XmpProperties::registerNs(uri, prefix);
        return true;
    });
}

void RKExiv2Library::refreshNamespaces()
{
    restoreKnownPrefixes();
    registerNamespacesOfFiles();
    // Each registration likewise takes away the prefix that a file has called the namespace by,
    // which may be a known one that has just come back. The second time nothing is taken away.
    for (int i = 0; i < 2; ++i) {
        registerBuiltInNamespaces();
        // The toolkit forgets a prefix of our own when a file binds it to another namespace.
        Exiv2::XmpProperties::registerNs(hostNamespace(), std::string(kHost.prefix));
    }
}

QRecursiveMutex* RKExiv2Library::tiffMutex()
{
    static auto* const mutex = new QRecursiveMutex;
    return mutex;
}

void RKExiv2Library::readMetadata(Exiv2::Image& image)
{
    const QMutexLocker tiffLocker(RKExiv2Compat::isTiffFamily(image) ? tiffMutex() : nullptr);
    const RKExiv2SegmentProbe segments(image);
    const QWriteLocker xmpLocker(segments.mayHaveXmp() ? xmpLock() : nullptr);
    image.readMetadata();
    decodeRefused(image);
    if (RKExiv2Compat::isSidecar(image)) {
        deriveFromFinalKeys(image);
        RKSidecarDate::read(image);
    }
    if (segments.hasSeveralPhotoshopSegments() || RKExiv2Compat::isTiffBased(image)
        || (segments.mayHaveSeveralIptcBlocks() && !image.iptcData().empty()))
        RKExiv2IptcBlocks::readAll(image);
}

void RKExiv2Library::describeError(const QString& where, const Exiv2::Error& error)
{
    if (RKExiv2Compat::isUnknownImageType(error))
        return;
    qWarning().noquote() << QStringLiteral("%3 caught exception with errorCode=%1 msg=%2")
                                .arg(QString::number(RKExiv2Compat::errorNumber(error)),
                                    QString::fromUtf8(error.what()),
                                    where);
}

void RKExiv2Library::reportUnchanged(const char* key, const QString& value)
{
    qWarning().noquote() << QLatin1String(key) + QLatin1Char(' ') + value
            + QStringLiteral(" does not work");
}

#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QReadWriteLock>
#include <QRecursiveMutex>
#include <QString>

#include <string>

/// What all users of exiv2 in this process share: its initialisation, its registry of XMP
/// namespaces with the lock around it, and the report of its errors.
///
/// Thread-safe.
class RKExiv2Library
{
public:
    RKExiv2Library() = delete;

    /// Prepares exiv2, once per process: the XMP toolkit, the prefix "TAMO", BMFF images, and
    /// exiv2's messages, which go to qDebug. Every metadata class that calls exiv2 calls this
    /// first.
    static void initialize();

    /// Guards exiv2's XMP parser and the process-wide registry of namespaces that it works on.
    /// Decoding a packet registers its prefixes, and looks them up again for each array: a packet
    /// that gives a namespace another prefix must not be decoded in between. Recursive; always
    /// taken exclusively.
    ///
    /// Around every call of XmpParser, every change of an XmpData under a key, every registration
    /// of a namespace, Image::readMetadata() unless the image has no XMP, and
    /// Image::writeMetadata(). Reading an XmpData by comparing key texts needs no lock.
    ///
    /// May be taken while the lock of a wrapper's implementation and the one around TIFF reading
    /// are held; never the other way round.
    static QReadWriteLock* xmpLock();

    /// Binds each known prefix to its published namespace again: reading a file that binds, say,
    /// "dc" to a namespace of its own changes "Xmp.dc" for the whole process. Called before an
    /// XmpData is changed, with xmpLock() held exclusively.
    static void restoreKnownPrefixes();

    /// Registers a namespace under the prefix that keys use, so that exiv2 can encode it, also in
    /// parts of structures. Called with xmpLock() held exclusively.
    static void registerForeignNamespace(const std::string& uri, const std::string& prefix);

    /// Makes the toolkit write the known namespaces under their known prefixes again: reading a
    /// file that binds another prefix to such a namespace changes what every later save of any file
    /// writes. Includes restoreKnownPrefixes(). Called before XMP is encoded or an image is
    /// written, with xmpLock() held exclusively. Takes about 0.3 ms.
    static void refreshNamespaces();

    /// Guards exiv2's TIFF reader, which must not run twice at once. The lock of a wrapper's
    /// implementation may be taken before it, and xmpLock() after it. Recursive.
    static QRecursiveMutex* tiffMutex();

    /// Reads the metadata of an opened image; takes both locks. Also decodes a packet of XMP that
    /// bytes follow which do not belong to it; the image then has the packet without them. Throws
    /// what exiv2 throws.
    static void readMetadata(Exiv2::Image& image);

    /// Logs the warning "%3 caught exception with errorCode=%1 msg=%2" with the error's code and
    /// message and the place. Silent for data of an image type that exiv2 does not know.
    static void describeError(const QString& where, const Exiv2::Error& error);

    /// The result of the function, or the fallback where it throws: exiv2 throws its own errors
    /// and, for malformed values, those of the standard library.
    template <typename Value, typename Function>
    static Value valueOr(Value fallback, Function function)
    {
        try {
            return function();
        } catch (...) {
            return fallback;
        }
    }

    /// Runs a change of one datum that returns whether it worked. Logs a failure: with
    /// describeError() for an error of exiv2, with the warning "KEY VALUE does not work" for
    /// another one.
    template <typename Function>
    static bool change(
        const QString& where, const char* key, const QString& value, Function function)
    {
        try {
            if (function())
                return true;
        } catch (const Exiv2::Error& error) {
            describeError(where, error);
            return false;
        } catch (...) {
        }
        reportUnchanged(key, value);
        return false;
    }

    /// Logs the warning "KEY VALUE does not work".
    static void reportUnchanged(const char* key, const QString& value);
};

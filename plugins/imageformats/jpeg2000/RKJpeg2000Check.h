#pragma once

#include <QByteArrayView>

/// Tells JPEG 2000 files whose headers ask for more memory or time than their picture is worth.
///
/// OpenJPEG allocates tiles, precincts, code-blocks and layers as the headers count them, and a few
/// bytes can count billions.
namespace RKJpeg2000Check {

/// How a JP2 file begins (ITU-T T.800, I.5.1) and a bare code stream (A.4.1, A.5.1).
inline constexpr QByteArrayView kFileSignature("\0\0\0\x0cjP  \r\n\x87\n", 12);
inline constexpr QByteArrayView kCodestreamSignature("\xff\x4f\xff\x51", 4);

bool isAcceptable(QByteArrayView file);

} // namespace RKJpeg2000Check

#pragma once

#include "RKImageLoader/media/RKMediaFormat.h"

#include <QByteArrayView>
#include <QString>

/// What the first bytes of a file say of its format, whatever its name says.
namespace RKContentFormat {

/// As many bytes as of() looks at.
constexpr qint64 kStartSize = 4096;

/// The format of a file that begins like that; unknown where it doesn't say. Videos in MPEG program
/// streams are MPG.
RKMediaFormat of(QByteArrayView start);

/// The content of one format is read under the name of the other one, too.
bool isReadAs(const RKMediaFormat& content, const RKMediaFormat& named);

/// The name of a format of pictures that nothing here reads, and that often comes under the name of
/// another one; empty for all others.
QString nameOfForeign(QByteArrayView start);

} // namespace RKContentFormat

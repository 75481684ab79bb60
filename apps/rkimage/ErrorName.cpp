#include "ErrorName.h"

QString ErrorName::of(RKMediaErrorCode code)
{
    switch (code) {
    case RKMediaErrorCode::None: return QStringLiteral("none");
    case RKMediaErrorCode::Missing: return QStringLiteral("missing");
    case RKMediaErrorCode::NoPermission: return QStringLiteral("noPermission");
    case RKMediaErrorCode::NotAFile: return QStringLiteral("notAFile");
    case RKMediaErrorCode::UnknownFormat: return QStringLiteral("unknownFormat");
    case RKMediaErrorCode::NoDecoder: return QStringLiteral("noDecoder");
    case RKMediaErrorCode::Damaged: return QStringLiteral("damaged");
    case RKMediaErrorCode::Truncated: return QStringLiteral("truncated");
    case RKMediaErrorCode::TooLarge: return QStringLiteral("tooLarge");
    case RKMediaErrorCode::TooSmall: return QStringLiteral("tooSmall");
    case RKMediaErrorCode::FrameOutOfRange: return QStringLiteral("frameOutOfRange");
    case RKMediaErrorCode::Unreadable: return QStringLiteral("unreadable");
    case RKMediaErrorCode::DiskFull: return QStringLiteral("diskFull");
    case RKMediaErrorCode::NotWritable: return QStringLiteral("notWritable");
    case RKMediaErrorCode::UnsupportedForWriting: return QStringLiteral("unsupportedForWriting");
    case RKMediaErrorCode::WouldLose: return QStringLiteral("wouldLose");
    case RKMediaErrorCode::Changed: return QStringLiteral("changed");
    case RKMediaErrorCode::OutOfMemory: return QStringLiteral("outOfMemory");
    case RKMediaErrorCode::Cancelled: return QStringLiteral("cancelled");
    }
    return {};
}

#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QString>

/// Texts in several languages, which exiv2 writes as lang="x-default" Hello, lang="de-DE" Hallo.
///
/// Thread-safe.
class RKExiv2LanguageText
{
public:
    RKExiv2LanguageText() = delete;

    /// The default alternative, else the first one, without language markers; a value of another
    /// type is taken for the text of one.
    static QString defaultText(const Exiv2::Value& value);
    /// The same of a text of one language, with or without a marker.
    static QString defaultText(const QString& text);

    /// Adds the alternatives in languages that the target does not have. Does nothing unless both
    /// are texts in several languages.
    static void addMissing(const Exiv2::Value& alternatives, Exiv2::Value* target);
};

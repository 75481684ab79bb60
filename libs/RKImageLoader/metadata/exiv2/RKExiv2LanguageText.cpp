#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"

#include "RKCore/RKRegularExpression.h"

namespace {

QString withoutMarkers(QString text)
{
    static const RKRegularExpression repair(QStringLiteral(", lang=\"x-repair\".*"));
    text.remove(QLatin1String("lang=\"x-default\""));
    return repair.removeFrom(text);
}

} // namespace

QString RKExiv2LanguageText::defaultText(const Exiv2::Value& value)
{
    const auto* alternatives = dynamic_cast<const Exiv2::LangAltValue*>(&value);
    if (!alternatives)
        return defaultText(QString::fromStdString(value.toString()));
    if (alternatives->value_.empty())
        return QString();
    const auto found = alternatives->value_.find("x-default");
    const auto& chosen
        = found != alternatives->value_.end() ? *found : *alternatives->value_.begin();
    return withoutMarkers(QString::fromStdString(chosen.second));
}

QString RKExiv2LanguageText::defaultText(const QString& text)
{
    // Reading throws for a text that only looks as if it had a marker.
    return RKExiv2Library::valueOr(text, [&] {
        Exiv2::LangAltValue alternatives;
        return alternatives.read(text.toStdString()) == 0 ? defaultText(alternatives) : text;
    });
}

void RKExiv2LanguageText::addMissing(const Exiv2::Value& alternatives, Exiv2::Value* target)
{
    const auto* source = dynamic_cast<const Exiv2::LangAltValue*>(&alternatives);
    auto* const other = dynamic_cast<Exiv2::LangAltValue*>(target);
    if (source && other)
        other->value_.insert(source->value_.begin(), source->value_.end());
}

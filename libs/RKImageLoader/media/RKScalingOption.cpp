#include "RKImageLoader/media/RKScalingOption.h"

RKScalingOption::RKScalingOption(RKScalingOptionEnum method)
    : RKEnumWrapper(method)
{
}

RKScalingOption::RKScalingOption(const QString& keywords)
    : RKScalingOption(RKScalingOption().enumToStringTable()->decodeCSV(keywords))
{
}

void RKScalingOption::fillTable(RKEnumToStringTable<RKScalingOptionEnum>* table) const
{
    table->insert(QStringLiteral("none"), SCALING_NONE);
    table->insert(QStringLiteral("smooth"), SCALING_SMOOTH);
    table->insert(QStringLiteral("fast"), SCALING_FAST);
    table->insert(QStringLiteral("bicubic"), SCALING_BICUBIC);
    table->insert(QStringLiteral("bilinear"), SCALING_BILINEAR);
}

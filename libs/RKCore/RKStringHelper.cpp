#include "RKCore/RKStringHelper.h"

QList<int> RKStringHelper::stringListToIntList(const QStringList& texts)
{
    QList<int> numbers;
    numbers.reserve(texts.size());
    for (const QString& text : texts) {
        bool ok = false;
        const int number = text.trimmed().toInt(&ok, 10);
        if (ok)
            numbers.append(number);
    }
    return numbers;
}

#include "RKQuietTest.h"

#include <QRegularExpression>

void RKQuietTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

#pragma once

#include <QTest>

/// A test that fails at every warning it doesn't expect.
class RKQuietTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init();
};

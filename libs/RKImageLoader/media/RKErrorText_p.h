#pragma once

#include <QCoreApplication>

/// Translates the sentences of RKMediaError, wherever they are written.
struct RKErrorText
{
    Q_DECLARE_TR_FUNCTIONS(RKMediaError)
};

#pragma once

#include "RKCore/RKCoreExport.h"

#include <QtGlobal>

/// A fraction as metadata holds it: numerator and denominator are kept as given, never reduced.
/// Reentrant.
class RKCORE_EXPORT RKRational
{
public:
    /// 0/1 by default; a denominator of 0 is kept and makes the fraction invalid.
    explicit RKRational(qint64 numerator = 0, qint64 denominator = 1);

    /// The two terms as they were given.
    /// @{
    qint64 numerator() const;
    qint64 denominator() const;
    /// @}

    /// Whether the denominator is not 0.
    bool isValid() const;

    /// The quotient; 0.0 for an invalid fraction.
    double toDouble() const;

    /// Equal numerators and equal denominators: 1/2 and 2/4 differ.
    bool operator==(const RKRational& other) const;
    bool operator!=(const RKRational& other) const;

private:
    qint64 m_numerator;
    qint64 m_denominator;
};

#include "RKCore/RKRational.h"

RKRational::RKRational(qint64 numerator, qint64 denominator)
    : m_numerator(numerator)
    , m_denominator(denominator)
{
}

qint64 RKRational::numerator() const
{
    return m_numerator;
}

qint64 RKRational::denominator() const
{
    return m_denominator;
}

bool RKRational::isValid() const
{
    return m_denominator != 0;
}

double RKRational::toDouble() const
{
    return isValid() ? double(m_numerator) / double(m_denominator) : 0.0;
}

bool RKRational::operator==(const RKRational& other) const
{
    return m_numerator == other.m_numerator && m_denominator == other.m_denominator;
}

bool RKRational::operator!=(const RKRational& other) const
{
    return !(*this == other);
}

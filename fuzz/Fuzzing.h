#pragma once

#include <QByteArray>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>

/// The input, of this size exactly, so that a sanitizer sees what reads beyond. Nothing but fatal
/// messages is printed from here on.
inline QByteArray quietInput(const uint8_t* data, size_t size)
{
    static const bool isQuiet = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
        return true;
    }();
    Q_UNUSED(isQuiet)
    return QByteArray(reinterpret_cast<const char*>(data), qsizetype(size));
}

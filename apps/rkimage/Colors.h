#pragma once

#include <QByteArray>

/// Colours for the words that people look for on a terminal. Chosen once, before the first output;
/// thread-safe afterwards.
class Colors
{
public:
    enum class When
    {
        /// On terminals that show them, unless the environment has NO_COLOR.
        Auto,
        Always,
        Never
    };

    static void choose(When when);

    /// For the error stream.
    /// @{
    static QByteArray error(const QByteArray& text);
    static QByteArray warning(const QByteArray& text);
    /// @}
    /// For standard output.
    static QByteArray heading(const QByteArray& text);
};

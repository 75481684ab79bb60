#pragma once

/// How soon a request is served. Among equals, the newest comes first.
enum class RKLoadPriority
{
    /// What may be needed some day.
    Background,
    /// What scrolling will show next.
    Nearby,
    /// What the user is looking at.
    Visible
};

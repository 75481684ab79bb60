#pragma once

/// The orientation of a stored picture: where its first row and first column are displayed
/// (Exif 2.32, 4.6.4, tag 0x0112). Any other number may occur, such as 0 for "not recorded", and
/// means upright.
enum RKImageOrientation : int
{
    ORIENTATION_TOP_LEFT = 1,
    ORIENTATION_TOP_RIGHT = 2,
    ORIENTATION_BOTTOM_RIGHT = 3,
    ORIENTATION_BOTTOM_LEFT = 4,
    ORIENTATION_LEFT_TOP = 5,
    ORIENTATION_RIGHT_TOP = 6,
    ORIENTATION_RIGHT_BOTTOM = 7,
    ORIENTATION_LEFT_BOTTOM = 8
};

/// Whether the displayed picture has the stored one's width as its height.
constexpr bool isTransposingOrientation(RKImageOrientation orientation)
{
    return orientation >= ORIENTATION_LEFT_TOP && orientation <= ORIENTATION_LEFT_BOTTOM;
}

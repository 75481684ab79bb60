#pragma once

#include "InputFiles.h"
#include "OutputFile.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "Result.h"

#include <QString>

#include <functional>

/// What the commands that make one file of another have in common.
struct FileConversion
{
    /// Makes the picture to save; a null one when that fails. There may be an error with a picture.
    std::function<RKDrawable(const RKMediaDescriptor& source, RKMediaError* error)> read;
    /// What remains to be done when the picture is saved; false when that fails.
    std::function<bool(const RKMediaDescriptor& target, RKMediaError* error)> finish;

    /// Checks both files and converts.
    Result run(const InputFile& source, const OutputFile& target) const;
};

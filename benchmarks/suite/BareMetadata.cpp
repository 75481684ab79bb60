#include "BareCodec.h"

// exiv2 0.27 declares its interface with the deprecated std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

size_t BareCodec::metadata(const std::vector<std::string>& paths)
{
    long count = 0;
    for (const std::string& path : paths) {
        const auto image = Exiv2::ImageFactory::open(path);
        image->readMetadata();
        count += long(image->exifData().count()) + long(image->iptcData().count())
            + long(image->xmpData().count());
    }
    return size_t(count);
}

#pragma GCC diagnostic pop

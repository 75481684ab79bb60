#include "imageformats/jpeg2000/RKJpeg2000Plugin.h"

#include "imageformats/heif/RKHeifPlugin.h"

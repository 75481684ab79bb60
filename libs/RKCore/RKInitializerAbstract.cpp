#include "RKCore/RKInitializerAbstract.h"

RKInitializerAbstract::~RKInitializerAbstract() = default;

#pragma once

#include "hostmediatypes/ColorSpace.h"
#include "hostmediatypes/PixelAspectRatio.h"
#include "hostmediatypes/PixelFormat.h"

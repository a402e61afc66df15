#include "controls/nativecameracontrols.h"

// Platforms with neither DirectShow nor V4L2 have no hardware controls to offer.
std::unique_ptr<NativeCameraControls> createNativeCameraControls()
{
    return nullptr;
}

#include "nativecameracontrols.h"

std::unique_ptr<NativeCameraControls> createNativeCameraControls()
{
    return nullptr;
}

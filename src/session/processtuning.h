#pragma once

// Process-wide settings that keep a long run of camera sessions from piling up memory and device
// descriptors. Call first thing in main: the arena limit holds only for threads started after it,
// and Qt starts its own with the application object.
void tuneProcessForCameras();

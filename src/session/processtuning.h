#pragma once

// Process-wide settings that keep a long run of camera sessions from piling up memory and device
// descriptors. They are applied before main, while no thread runs yet; a call only makes sure of
// it (and links them in).
void tuneProcessForCameras();

#pragma once

// Process-wide settings that keep a long run of camera sessions from piling up memory and device
// descriptors. Call first thing in main: the arena limit holds only for threads started after it,
// and Qt starts its own with the application object.
void tuneProcessForCameras();

// Gives the memory an ended camera session freed back to the system. glibc returns freed memory
// only from the top of its heap, so a camera's frame buffers stayed resident below whatever was
// allocated after them: between cameras the window kept 8 to 21 MB of free memory, a different
// amount after each change, for the same 15 MB in use.
void releaseFreedMemory();

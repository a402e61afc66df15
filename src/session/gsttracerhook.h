#pragma once

#include <gst/gst.h>

// Calls `callback` at GStreamer's tracing hook `hook` (say "element-new") for as long as the
// process runs. Qt 6.4's GStreamer back end builds its pipelines out of our reach; these hooks see
// its elements and links as they are made.
void addTracerHook(const char *hook, GCallback callback);

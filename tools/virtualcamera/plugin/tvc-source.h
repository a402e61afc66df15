/* The element a virtual camera device creates: a live test picture restricted to
 * the camera's formats, which can be told to withhold frames or to behave as if
 * the camera had been unplugged. */
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

#define TVC_TYPE_SOURCE (tvc_source_get_type())
G_DECLARE_FINAL_TYPE(TvcSource, tvc_source, TVC, SOURCE, GstBin)

#define TVC_SOURCE_FACTORY_NAME "tarvelovirtualcamerasrc"

/* Stops the picture and reports a read error if streaming, or makes the next
 * start fail, as a real camera does when its cable is pulled. Thread-safe. */
void tvc_source_unplug(TvcSource *self);

G_END_DECLS

/* Camera descriptions for the virtual camera plugin.
 *
 * Text form, used by the TARVELO_VIRTUAL_CAMERAS variable and the provider's
 * "add-camera" signal:
 *
 *   list    = camera { ";" camera }
 *   camera  = name { "|" option }
 *   option  = "default" | "no-frames" | "slow-start=" MS | "stops-after=" FRAMES
 *           | "formats=" format { "," format }
 *   format  = WIDTH "x" HEIGHT "@" FPS "/" PIXELFORMAT     (e.g. 1280x720@30/NV12)
 *
 * PIXELFORMAT is a GStreamer raw video format name (YUY2, NV12, I420, ...), or MJPG for
 * JPEG-compressed frames (image/jpeg); a camera offers either MJPG or raw formats.
 * Without "formats=" a camera offers the standard set. "slow-start=" makes starting the
 * camera take MS milliseconds more, after its stream is already running. "stops-after=" makes
 * each start deliver FRAMES frames and then none, as a camera that hangs mid-stream does. */
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

typedef struct
{
    gint width;
    gint height;
    gint fps;
    gchar *pixel_format;
} TvcFormat;

typedef struct
{
    gchar *name;
    gboolean is_default;
    gboolean delivers_frames;
    guint start_delay_ms;
    guint stop_after_frames; /* 0: never stops */
    GArray *formats; /* of TvcFormat */
    guint serial; /* assigned by the provider, identifies one plugged instance */
} TvcCameraConfig;

#define TVC_MJPEG "MJPG"
#define TVC_DEFAULT_CAMERA_NAME "Tarvelo Virtual Camera"

TvcCameraConfig *tvc_camera_config_parse(const gchar *text, GError **error);
/* Entries that do not parse are skipped with a warning. */
GPtrArray *tvc_camera_config_parse_list(const gchar *text);
/* The cameras to offer at start: from TARVELO_VIRTUAL_CAMERAS, or one default camera. */
GPtrArray *tvc_camera_config_initial_list(void);

TvcCameraConfig *tvc_camera_config_copy(const TvcCameraConfig *config);
void tvc_camera_config_free(TvcCameraConfig *config);

/* One fixed structure per configured format, in configured order. */
GstCaps *tvc_camera_config_caps(const TvcCameraConfig *config);

G_END_DECLS

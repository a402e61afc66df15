#include "tvc-source.h"

GST_DEBUG_CATEGORY_EXTERN(tvc_debug);
#define GST_CAT_DEFAULT tvc_debug

struct _TvcSource
{
    GstBin parent;

    GstElement *picture;
    GstElement *filter;
    GstElement *encoder; /* jpegenc between picture and filter for an MJPG camera */
    GstPad *picture_pad;

    GMutex lock; /* guards the fields below */
    gchar *camera_name;
    gboolean delivers_frames;
    gboolean unplugged;
    guint start_delay_ms;
    guint stop_after_frames;
    guint frames_this_start;
    gulong hold_probe;
};

enum {
    PROP_0,
    PROP_CAPS,
    PROP_DELIVERS_FRAMES,
    PROP_CAMERA_NAME,
    PROP_START_DELAY,
    PROP_STOP_AFTER
};

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("video/x-raw; image/jpeg"));

G_DEFINE_TYPE(TvcSource, tvc_source, GST_TYPE_BIN)

static GstPadProbeReturn hold_data(GstPad *pad, GstPadProbeInfo *info, gpointer user_data)
{
    (void)pad;
    (void)info;
    (void)user_data;
    /* A blocking probe that answers OK keeps the streaming thread parked here
     * until the pad is flushed on shutdown: no frame, no busy loop. */
    return GST_PAD_PROBE_OK;
}

/* Drops every frame past the first stop_after_frames of a start: the stream stays up, silent. */
static GstPadProbeReturn count_frames(GstPad *pad, GstPadProbeInfo *info, gpointer user_data)
{
    (void)pad;
    (void)info;
    TvcSource *self = TVC_SOURCE(user_data);
    g_mutex_lock(&self->lock);
    gboolean stalled =
        self->stop_after_frames && self->frames_this_start >= self->stop_after_frames;
    if (!stalled)
        ++self->frames_this_start;
    g_mutex_unlock(&self->lock);
    return stalled ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

/* Call with self->lock held. */
static void update_hold(TvcSource *self)
{
    gboolean hold = !self->delivers_frames || self->unplugged;

    if (hold && !self->hold_probe) {
        self->hold_probe = gst_pad_add_probe(self->picture_pad,
                                             GST_PAD_PROBE_TYPE_BLOCK | GST_PAD_PROBE_TYPE_BUFFER
                                                 | GST_PAD_PROBE_TYPE_BUFFER_LIST,
                                             hold_data, NULL, NULL);
    } else if (!hold && self->hold_probe) {
        gst_pad_remove_probe(self->picture_pad, self->hold_probe);
        self->hold_probe = 0;
    }
}

void tvc_source_unplug(TvcSource *self)
{
    g_return_if_fail(TVC_IS_SOURCE(self));

    g_mutex_lock(&self->lock);
    gboolean already = self->unplugged;
    self->unplugged = TRUE;
    update_hold(self);
    gchar *name = g_strdup(self->camera_name);
    g_mutex_unlock(&self->lock);

    GST_OBJECT_LOCK(self);
    gboolean streaming = GST_STATE(self) >= GST_STATE_PAUSED;
    GST_OBJECT_UNLOCK(self);

    /* Not started yet: the failure shows when it tries to start, as with v4l2. */
    if (!already && streaming) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, (NULL),
                          ("virtual camera '%s' was unplugged", name ? name : ""));
    }
    g_free(name);
}

/* Encodes the test picture, so the camera streams JPEG frames as a UVC camera's MJPEG mode does. */
static void add_encoder(TvcSource *self)
{
    if (self->encoder)
        return;
    self->encoder = gst_element_factory_make("jpegenc", "encoder");
    g_assert(self->encoder);
    gst_element_unlink(self->picture, self->filter);
    gst_bin_add(GST_BIN(self), self->encoder);
    gst_element_link_many(self->picture, self->encoder, self->filter, NULL);
}

static GstStateChangeReturn tvc_source_change_state(GstElement *element, GstStateChange transition)
{
    TvcSource *self = TVC_SOURCE(element);

    if (transition == GST_STATE_CHANGE_NULL_TO_READY
        || transition == GST_STATE_CHANGE_READY_TO_PAUSED) {
        g_mutex_lock(&self->lock);
        gboolean gone = self->unplugged;
        gchar *name = g_strdup(self->camera_name);
        self->frames_this_start = 0;
        g_mutex_unlock(&self->lock);

        if (gone) {
            GST_ELEMENT_ERROR(self, RESOURCE, OPEN_READ, (NULL),
                              ("virtual camera '%s' is unplugged", name ? name : ""));
            g_free(name);
            return GST_STATE_CHANGE_FAILURE;
        }
        g_free(name);
    }
    GstStateChangeReturn result =
        GST_ELEMENT_CLASS(tvc_source_parent_class)->change_state(element, transition);

    /* Like a driver that is slow to start streaming: the caller waits while the streaming
     * thread already runs. */
    if (transition == GST_STATE_CHANGE_READY_TO_PAUSED && result != GST_STATE_CHANGE_FAILURE) {
        g_mutex_lock(&self->lock);
        guint delay_ms = self->start_delay_ms;
        g_mutex_unlock(&self->lock);
        if (delay_ms)
            g_usleep((gulong)delay_ms * 1000);
    }
    return result;
}

static void tvc_source_set_property(GObject *object, guint id, const GValue *value,
                                    GParamSpec *param)
{
    TvcSource *self = TVC_SOURCE(object);

    switch (id) {
    case PROP_CAPS: {
        const GstCaps *caps = gst_value_get_caps(value);
        if (caps && !gst_caps_is_empty(caps) && !gst_caps_is_any(caps)
            && gst_structure_has_name(gst_caps_get_structure(caps, 0), "image/jpeg"))
            add_encoder(self);
        g_object_set_property(G_OBJECT(self->filter), "caps", value);
        break;
    }
    case PROP_DELIVERS_FRAMES:
        g_mutex_lock(&self->lock);
        self->delivers_frames = g_value_get_boolean(value);
        update_hold(self);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_START_DELAY:
        g_mutex_lock(&self->lock);
        self->start_delay_ms = g_value_get_uint(value);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_STOP_AFTER:
        g_mutex_lock(&self->lock);
        self->stop_after_frames = g_value_get_uint(value);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_CAMERA_NAME:
        g_mutex_lock(&self->lock);
        g_free(self->camera_name);
        self->camera_name = g_value_dup_string(value);
        g_mutex_unlock(&self->lock);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
        break;
    }
}

static void tvc_source_get_property(GObject *object, guint id, GValue *value, GParamSpec *param)
{
    TvcSource *self = TVC_SOURCE(object);

    switch (id) {
    case PROP_CAPS:
        g_object_get_property(G_OBJECT(self->filter), "caps", value);
        break;
    case PROP_DELIVERS_FRAMES:
        g_mutex_lock(&self->lock);
        g_value_set_boolean(value, self->delivers_frames);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_START_DELAY:
        g_mutex_lock(&self->lock);
        g_value_set_uint(value, self->start_delay_ms);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_STOP_AFTER:
        g_mutex_lock(&self->lock);
        g_value_set_uint(value, self->stop_after_frames);
        g_mutex_unlock(&self->lock);
        break;
    case PROP_CAMERA_NAME:
        g_mutex_lock(&self->lock);
        g_value_set_string(value, self->camera_name);
        g_mutex_unlock(&self->lock);
        break;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
        break;
    }
}

static void tvc_source_finalize(GObject *object)
{
    TvcSource *self = TVC_SOURCE(object);

    gst_object_unref(self->picture_pad);
    g_free(self->camera_name);
    g_mutex_clear(&self->lock);
    G_OBJECT_CLASS(tvc_source_parent_class)->finalize(object);
}

static void tvc_source_init(TvcSource *self)
{
    g_mutex_init(&self->lock);
    self->delivers_frames = TRUE;

    /* SMPTE bars: different colours left/right and top/bottom, so mirrored or
     * flipped output is detectable. videotestsrc comes with plugins-base. */
    self->picture = gst_element_factory_make("videotestsrc", "picture");
    self->filter = gst_element_factory_make("capsfilter", "formats");
    g_assert(self->picture && self->filter);
    g_object_set(self->picture, "is-live", TRUE, NULL);
    gst_util_set_object_arg(G_OBJECT(self->picture), "pattern", "smpte");

    gst_bin_add_many(GST_BIN(self), self->picture, self->filter, NULL);
    gst_element_link(self->picture, self->filter);
    self->picture_pad = gst_element_get_static_pad(self->picture, "src");
    gst_pad_add_probe(self->picture_pad, GST_PAD_PROBE_TYPE_BUFFER, count_frames, self, NULL);

    GstPad *target = gst_element_get_static_pad(self->filter, "src");
    GstPad *ghost =
        gst_ghost_pad_new_from_template("src", target, gst_static_pad_template_get(&src_template));
    gst_object_unref(target);
    gst_element_add_pad(GST_ELEMENT(self), ghost);
}

static void tvc_source_class_init(TvcSourceClass *klass)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);
    GstElementClass *element_class = GST_ELEMENT_CLASS(klass);

    object_class->set_property = tvc_source_set_property;
    object_class->get_property = tvc_source_get_property;
    object_class->finalize = tvc_source_finalize;
    element_class->change_state = tvc_source_change_state;

    g_object_class_install_property(
        object_class, PROP_CAPS,
        g_param_spec_boxed("caps", "Caps", "Formats the camera can produce", GST_TYPE_CAPS,
                           G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
    g_object_class_install_property(
        object_class, PROP_DELIVERS_FRAMES,
        g_param_spec_boolean("delivers-frames", "Delivers frames",
                             "FALSE: starts like a camera but never produces a frame", TRUE,
                             G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
    g_object_class_install_property(
        object_class, PROP_START_DELAY,
        g_param_spec_uint("start-delay", "Start delay",
                          "Milliseconds the start to streaming takes after the stream runs", 0,
                          G_MAXUINT, 0, G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
    g_object_class_install_property(
        object_class, PROP_STOP_AFTER,
        g_param_spec_uint("stop-after", "Stop after",
                          "Frames each start delivers before the stream falls silent (0: never)", 0,
                          G_MAXUINT, 0, G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
    g_object_class_install_property(
        object_class, PROP_CAMERA_NAME,
        g_param_spec_string("camera-name", "Camera name", "Name used in error messages", NULL,
                            G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));

    gst_element_class_add_static_pad_template(element_class, &src_template);
    gst_element_class_set_static_metadata(element_class, "Tarvelo virtual camera source",
                                          "Source/Video", "Live test picture for tests",
                                          "Tarvelo developers");
}

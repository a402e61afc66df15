#include "tvc-provider.h"

#include "tvc-config.h"
#include "tvc-source.h"

GST_DEBUG_CATEGORY_EXTERN(tvc_debug);
#define GST_CAT_DEFAULT tvc_debug

struct _TvcDevice
{
    GstDevice parent;
    TvcProvider *provider;
    TvcCameraConfig *config;
};

typedef struct
{
    guint serial;
    GWeakRef element;
} TrackedElement;

struct _TvcProvider
{
    GstDeviceProvider parent;

    GMutex lock; /* guards the fields below */
    GPtrArray *cameras; /* TvcCameraConfig *, the plugged cameras in plug order */
    GPtrArray *elements; /* TrackedElement *, sources created from our devices */
    guint next_serial;
    gboolean started;
};

G_DEFINE_TYPE(TvcDevice, tvc_device, GST_TYPE_DEVICE)
G_DEFINE_TYPE(TvcProvider, tvc_provider, GST_TYPE_DEVICE_PROVIDER)

static void tracked_element_free(TrackedElement *tracked)
{
    g_weak_ref_clear(&tracked->element);
    g_free(tracked);
}

/* Call with self->lock held. */
static gboolean is_plugged(TvcProvider *self, guint serial)
{
    for (guint i = 0; i < self->cameras->len; ++i)
        if (((TvcCameraConfig *)g_ptr_array_index(self->cameras, i))->serial == serial)
            return TRUE;
    return FALSE;
}

static void track_element(TvcProvider *self, guint serial, TvcSource *element)
{
    g_mutex_lock(&self->lock);
    for (guint i = self->elements->len; i-- > 0;) {
        TrackedElement *tracked = g_ptr_array_index(self->elements, i);
        GObject *alive = g_weak_ref_get(&tracked->element);
        if (alive)
            g_object_unref(alive);
        else
            g_ptr_array_remove_index_fast(self->elements, i);
    }
    gboolean plugged = is_plugged(self, serial);
    if (plugged) {
        TrackedElement *tracked = g_new0(TrackedElement, 1);
        tracked->serial = serial;
        g_weak_ref_init(&tracked->element, element);
        g_ptr_array_add(self->elements, tracked);
    }
    g_mutex_unlock(&self->lock);

    /* Created from a device object that outlived its camera. */
    if (!plugged)
        tvc_source_unplug(element);
}

/* ---- device ---- */

static GstElement *tvc_device_create_element(GstDevice *device, const gchar *name)
{
    TvcDevice *self = TVC_DEVICE(device);
    GstElement *element = gst_element_factory_make(TVC_SOURCE_FACTORY_NAME, name);
    if (!element)
        return NULL;

    GstCaps *caps = gst_device_get_caps(device);
    g_object_set(element, "caps", caps, "delivers-frames", self->config->delivers_frames,
                 "camera-name", self->config->name, "start-delay", self->config->start_delay_ms,
                 "stop-after", self->config->stop_after_frames, NULL);
    gst_caps_unref(caps);
    track_element(self->provider, self->config->serial, TVC_SOURCE(element));
    return element;
}

static void tvc_device_finalize(GObject *object)
{
    TvcDevice *self = TVC_DEVICE(object);
    tvc_camera_config_free(self->config);
    gst_clear_object(&self->provider);
    G_OBJECT_CLASS(tvc_device_parent_class)->finalize(object);
}

static void tvc_device_init(TvcDevice *self)
{
    (void)self;
}

static void tvc_device_class_init(TvcDeviceClass *klass)
{
    G_OBJECT_CLASS(klass)->finalize = tvc_device_finalize;
    GST_DEVICE_CLASS(klass)->create_element = tvc_device_create_element;
}

static GstDevice *device_new(TvcProvider *provider, const TvcCameraConfig *config)
{
    GstCaps *caps = tvc_camera_config_caps(config);
    /* No "device.path": newer Qt versions would try to open it as a v4l2 node. */
    GstStructure *properties =
        gst_structure_new("tarvelo-virtual-camera", "device.api", G_TYPE_STRING, "tarvelo-virtual",
                          "tarvelo.serial", G_TYPE_UINT, config->serial, "tarvelo.delivers-frames",
                          G_TYPE_BOOLEAN, config->delivers_frames, NULL);
    /* Only on the default camera: some Qt versions move any device that carries
     * the field to the front of the list, whatever its value. */
    if (config->is_default)
        gst_structure_set(properties, "is-default", G_TYPE_BOOLEAN, TRUE, NULL);

    TvcDevice *device = g_object_new(TVC_TYPE_DEVICE, "display-name", config->name, "device-class",
                                     "Video/Source", "caps", caps, "properties", properties, NULL);
    gst_caps_unref(caps);
    gst_structure_free(properties);
    device->provider = gst_object_ref(provider);
    device->config = tvc_camera_config_copy(config);
    return GST_DEVICE(device);
}

/* ---- provider ---- */

static GList *tvc_provider_probe(GstDeviceProvider *provider)
{
    TvcProvider *self = TVC_PROVIDER(provider);
    GList *devices = NULL;

    g_mutex_lock(&self->lock);
    for (guint i = self->cameras->len; i-- > 0;)
        devices = g_list_prepend(devices, device_new(self, g_ptr_array_index(self->cameras, i)));
    g_mutex_unlock(&self->lock);
    return devices;
}

static gboolean tvc_provider_start(GstDeviceProvider *provider)
{
    TvcProvider *self = TVC_PROVIDER(provider);

    g_mutex_lock(&self->lock);
    self->started = TRUE;
    GList *devices = NULL;
    for (guint i = 0; i < self->cameras->len; ++i)
        devices = g_list_append(devices, device_new(self, g_ptr_array_index(self->cameras, i)));
    g_mutex_unlock(&self->lock);

    /* Listed without DEVICE_ADDED messages: a monitor asks for the initial list
     * itself, and announcing them as well makes Qt list every camera twice.
     * Same bookkeeping as gst_device_provider_device_add(), which prepends. */
    for (GList *l = devices; l; l = l->next) {
        gst_object_set_parent(GST_OBJECT(l->data), GST_OBJECT(provider));
        GST_OBJECT_LOCK(provider);
        provider->devices = g_list_prepend(provider->devices, l->data);
        GST_OBJECT_UNLOCK(provider);
    }
    g_list_free(devices);
    return TRUE;
}

static void tvc_provider_stop(GstDeviceProvider *provider)
{
    TvcProvider *self = TVC_PROVIDER(provider);
    g_mutex_lock(&self->lock);
    self->started = FALSE;
    g_mutex_unlock(&self->lock);
}

static gboolean tvc_provider_add_camera(TvcProvider *self, const gchar *text, gpointer unused)
{
    (void)unused;
    GError *error = NULL;
    TvcCameraConfig *config = tvc_camera_config_parse(text, &error);
    if (!config) {
        GST_WARNING_OBJECT(self, "cannot add '%s': %s", text, error->message);
        g_error_free(error);
        return FALSE;
    }

    g_mutex_lock(&self->lock);
    config->serial = ++self->next_serial;
    g_ptr_array_add(self->cameras, config);
    GstDevice *device = self->started ? device_new(self, config) : NULL;
    g_mutex_unlock(&self->lock);

    if (device)
        gst_device_provider_device_add(GST_DEVICE_PROVIDER(self), device);
    GST_INFO_OBJECT(self, "plugged '%s'", text);
    return TRUE;
}

static gboolean tvc_provider_remove_camera(TvcProvider *self, const gchar *name, gpointer unused)
{
    (void)unused;
    GstDeviceProvider *provider = GST_DEVICE_PROVIDER(self);
    GPtrArray *unplugged = g_ptr_array_new_with_free_func(gst_object_unref);
    guint serial = 0;
    gboolean started = FALSE;

    g_mutex_lock(&self->lock);
    for (guint i = 0; i < self->cameras->len; ++i) {
        TvcCameraConfig *config = g_ptr_array_index(self->cameras, i);
        if (g_strcmp0(config->name, name) == 0) {
            serial = config->serial;
            g_ptr_array_remove_index(self->cameras, i);
            break;
        }
    }
    if (serial) {
        started = self->started;
        for (guint i = self->elements->len; i-- > 0;) {
            TrackedElement *tracked = g_ptr_array_index(self->elements, i);
            if (tracked->serial != serial)
                continue;
            GObject *element = g_weak_ref_get(&tracked->element);
            if (element)
                g_ptr_array_add(unplugged, element);
            g_ptr_array_remove_index_fast(self->elements, i);
        }
    }
    g_mutex_unlock(&self->lock);

    if (!serial) {
        g_ptr_array_unref(unplugged);
        GST_WARNING_OBJECT(self, "no plugged camera named '%s'", name);
        return FALSE;
    }

    if (started) {
        GstDevice *device = NULL;
        GST_OBJECT_LOCK(provider);
        for (GList *l = provider->devices; l && !device; l = l->next)
            if (TVC_DEVICE(l->data)->config->serial == serial)
                device = gst_object_ref(l->data);
        GST_OBJECT_UNLOCK(provider);
        if (device) {
            gst_device_provider_device_remove(provider, device);
            gst_object_unref(device);
        }
    }

    /* Outside our lock: posting an error may run bus sync handlers. */
    for (guint i = 0; i < unplugged->len; ++i)
        tvc_source_unplug(TVC_SOURCE(g_ptr_array_index(unplugged, i)));
    g_ptr_array_unref(unplugged);
    GST_INFO_OBJECT(self, "unplugged '%s'", name);
    return TRUE;
}

static void tvc_provider_finalize(GObject *object)
{
    TvcProvider *self = TVC_PROVIDER(object);
    g_ptr_array_unref(self->cameras);
    g_ptr_array_unref(self->elements);
    g_mutex_clear(&self->lock);
    G_OBJECT_CLASS(tvc_provider_parent_class)->finalize(object);
}

static void tvc_provider_init(TvcProvider *self)
{
    g_mutex_init(&self->lock);
    self->cameras = tvc_camera_config_initial_list();
    for (guint i = 0; i < self->cameras->len; ++i)
        ((TvcCameraConfig *)g_ptr_array_index(self->cameras, i))->serial = ++self->next_serial;
    self->elements = g_ptr_array_new_with_free_func((GDestroyNotify)tracked_element_free);
}

static void tvc_provider_class_init(TvcProviderClass *klass)
{
    GObjectClass *object_class = G_OBJECT_CLASS(klass);
    GstDeviceProviderClass *provider_class = GST_DEVICE_PROVIDER_CLASS(klass);

    object_class->finalize = tvc_provider_finalize;
    provider_class->probe = tvc_provider_probe;
    provider_class->start = tvc_provider_start;
    provider_class->stop = tvc_provider_stop;

    g_signal_new_class_handler(
        "add-camera", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION,
        G_CALLBACK(tvc_provider_add_camera), NULL, NULL, NULL, G_TYPE_BOOLEAN, 1, G_TYPE_STRING);
    g_signal_new_class_handler(
        "remove-camera", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION,
        G_CALLBACK(tvc_provider_remove_camera), NULL, NULL, NULL, G_TYPE_BOOLEAN, 1, G_TYPE_STRING);

    gst_device_provider_class_set_static_metadata(
        provider_class, "Tarvelo virtual cameras", "Video/Source",
        "Configurable virtual cameras for tests", "Tarvelo developers");
}

#include "tvc-config.h"

#include <gst/video/video.h>
#include <stdio.h>
#include <string.h>

GST_DEBUG_CATEGORY_EXTERN(tvc_debug);
#define GST_CAT_DEFAULT tvc_debug

#define TVC_CONFIG_ERROR (g_quark_from_static_string("tvc-config-error"))

static const struct
{
    gint width, height, fps;
} standard_modes[] = {
    {640, 480, 30},   {640, 480, 60},   {1280, 720, 30},  {1280, 720, 60},
    {1920, 1080, 30}, {1920, 1080, 60}, {3840, 2160, 30},
};

static const gchar *const standard_pixel_formats[] = {"YUY2", "NV12"};

static void format_clear(gpointer data)
{
    g_free(((TvcFormat *)data)->pixel_format);
}

static TvcCameraConfig *config_new(const gchar *name)
{
    TvcCameraConfig *config = g_new0(TvcCameraConfig, 1);
    config->name = g_strdup(name);
    config->delivers_frames = TRUE;
    config->formats = g_array_new(FALSE, TRUE, sizeof(TvcFormat));
    g_array_set_clear_func(config->formats, format_clear);
    return config;
}

static void add_format(TvcCameraConfig *config, gint width, gint height, gint fps,
                       const gchar *pixel)
{
    TvcFormat f = {width, height, fps, g_strdup(pixel)};
    g_array_append_val(config->formats, f);
}

static void add_standard_formats(TvcCameraConfig *config)
{
    for (gsize p = 0; p < G_N_ELEMENTS(standard_pixel_formats); ++p)
        for (gsize m = 0; m < G_N_ELEMENTS(standard_modes); ++m)
            add_format(config, standard_modes[m].width, standard_modes[m].height,
                       standard_modes[m].fps, standard_pixel_formats[p]);
}

static gboolean parse_format(TvcCameraConfig *config, const gchar *token, GError **error)
{
    gint width = 0, height = 0, fps = 0, consumed = 0;
    gchar pixel[32] = {0};

    if (sscanf(token, "%dx%d@%d/%31[A-Za-z0-9_]%n", &width, &height, &fps, pixel, &consumed) != 4
        || token[consumed] != '\0') {
        g_set_error(error, TVC_CONFIG_ERROR, 1, "format '%s' is not WIDTHxHEIGHT@FPS/FORMAT",
                    token);
        return FALSE;
    }
    if (width <= 0 || height <= 0 || fps <= 0) {
        g_set_error(error, TVC_CONFIG_ERROR, 1, "format '%s' has a non-positive number", token);
        return FALSE;
    }
    gboolean jpeg = g_str_equal(pixel, TVC_MJPEG);
    if (!jpeg && gst_video_format_from_string(pixel) == GST_VIDEO_FORMAT_UNKNOWN) {
        g_set_error(error, TVC_CONFIG_ERROR, 1, "'%s' is not a raw video format nor " TVC_MJPEG,
                    pixel);
        return FALSE;
    }
    /* One source chain per camera: it either encodes every frame or none. */
    if (config->formats->len > 0
        && jpeg
            != g_str_equal(g_array_index(config->formats, TvcFormat, 0).pixel_format, TVC_MJPEG)) {
        g_set_error(error, TVC_CONFIG_ERROR, 1,
                    "a camera offers " TVC_MJPEG " or raw formats, not both");
        return FALSE;
    }
    add_format(config, width, height, fps, pixel);
    return TRUE;
}

static gboolean parse_formats(TvcCameraConfig *config, const gchar *list, GError **error)
{
    gchar **tokens = g_strsplit(list, ",", -1);
    gboolean ok = TRUE;

    for (gchar **t = tokens; ok && *t; ++t) {
        gchar *token = g_strstrip(*t);
        if (*token)
            ok = parse_format(config, token, error);
    }
    g_strfreev(tokens);
    if (ok && config->formats->len == 0) {
        g_set_error(error, TVC_CONFIG_ERROR, 1, "empty format list");
        ok = FALSE;
    }
    return ok;
}

TvcCameraConfig *tvc_camera_config_parse(const gchar *text, GError **error)
{
    gchar **fields = g_strsplit(text ? text : "", "|", -1);
    TvcCameraConfig *config = NULL;
    gboolean have_formats = FALSE;

    const gchar *name = fields[0] ? g_strstrip(fields[0]) : "";
    if (!*name) {
        g_set_error(error, TVC_CONFIG_ERROR, 1, "camera without a name in '%s'", text);
        goto out;
    }
    config = config_new(name);

    for (gchar **f = fields + 1; *f; ++f) {
        gchar *option = g_strstrip(*f);
        if (g_str_equal(option, "default")) {
            config->is_default = TRUE;
        } else if (g_str_equal(option, "no-frames")) {
            config->delivers_frames = FALSE;
        } else if (g_str_has_prefix(option, "slow-start=")) {
            config->start_delay_ms =
                (guint)g_ascii_strtoull(option + strlen("slow-start="), NULL, 10);
        } else if (g_str_has_prefix(option, "stops-after=")) {
            config->stop_after_frames =
                (guint)g_ascii_strtoull(option + strlen("stops-after="), NULL, 10);
        } else if (g_str_has_prefix(option, "formats=")) {
            g_array_set_size(config->formats, 0);
            if (!parse_formats(config, option + strlen("formats="), error))
                goto fail;
            have_formats = TRUE;
        } else if (*option) {
            g_set_error(error, TVC_CONFIG_ERROR, 1, "unknown option '%s' for camera '%s'", option,
                        name);
            goto fail;
        }
    }
    if (!have_formats)
        add_standard_formats(config);
    goto out;

fail:
    tvc_camera_config_free(config);
    config = NULL;
out:
    g_strfreev(fields);
    return config;
}

GPtrArray *tvc_camera_config_parse_list(const gchar *text)
{
    GPtrArray *list = g_ptr_array_new_with_free_func((GDestroyNotify)tvc_camera_config_free);
    gchar **entries = g_strsplit(text ? text : "", ";", -1);

    for (gchar **e = entries; *e; ++e) {
        GError *error = NULL;
        if (!*g_strstrip(*e))
            continue;
        TvcCameraConfig *config = tvc_camera_config_parse(*e, &error);
        if (config) {
            g_ptr_array_add(list, config);
        } else {
            /* Not g_warning: that aborts under G_DEBUG=fatal-warnings. */
            g_printerr("tarvelo virtual camera: ignoring '%s': %s\n", *e, error->message);
            g_error_free(error);
        }
    }
    g_strfreev(entries);
    return list;
}

GPtrArray *tvc_camera_config_initial_list(void)
{
    const gchar *env = g_getenv("TARVELO_VIRTUAL_CAMERAS");
    if (env)
        return tvc_camera_config_parse_list(env); /* set but empty: no cameras at all */

    GPtrArray *list = g_ptr_array_new_with_free_func((GDestroyNotify)tvc_camera_config_free);
    TvcCameraConfig *config = config_new(TVC_DEFAULT_CAMERA_NAME);
    config->is_default = TRUE;
    add_standard_formats(config);
    g_ptr_array_add(list, config);
    return list;
}

TvcCameraConfig *tvc_camera_config_copy(const TvcCameraConfig *config)
{
    TvcCameraConfig *copy = config_new(config->name);
    copy->is_default = config->is_default;
    copy->delivers_frames = config->delivers_frames;
    copy->start_delay_ms = config->start_delay_ms;
    copy->stop_after_frames = config->stop_after_frames;
    copy->serial = config->serial;
    for (guint i = 0; i < config->formats->len; ++i) {
        const TvcFormat *f = &g_array_index(config->formats, TvcFormat, i);
        add_format(copy, f->width, f->height, f->fps, f->pixel_format);
    }
    return copy;
}

void tvc_camera_config_free(TvcCameraConfig *config)
{
    if (!config)
        return;
    g_free(config->name);
    g_array_unref(config->formats);
    g_free(config);
}

GstCaps *tvc_camera_config_caps(const TvcCameraConfig *config)
{
    GstCaps *caps = gst_caps_new_empty();

    /* Appended, not merged: Qt turns each structure into one QCameraFormat. */
    for (guint i = 0; i < config->formats->len; ++i) {
        const TvcFormat *f = &g_array_index(config->formats, TvcFormat, i);
        GstStructure *s = g_str_equal(f->pixel_format, TVC_MJPEG)
            ? gst_structure_new_empty("image/jpeg")
            : gst_structure_new("video/x-raw", "format", G_TYPE_STRING, f->pixel_format, NULL);
        gst_structure_set(s, "width", G_TYPE_INT, f->width, "height", G_TYPE_INT, f->height,
                          "framerate", GST_TYPE_FRACTION, f->fps, 1, "pixel-aspect-ratio",
                          GST_TYPE_FRACTION, 1, 1, NULL);
        gst_caps_append_structure(caps, s);
    }
    return caps;
}

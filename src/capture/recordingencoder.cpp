#include "capture/recordingencoder.h"

#include <gst/gst.h>

// Qt 6.4 hands GStreamer's encodebin a bare "video/x-h264" and ignores the recorder's quality, so
// the encoder picked is a default x264enc: it keeps the camera's 4:2:2 (High 4:2:2, which common
// players refuse) and spends more than our two cores on 1080p30. This element is picked instead,
// ranked above x264enc. It takes 4:2:0 frames only, so encodebin's own converter makes them;
// encodes High-profile H.264 at a constant quality and a preset a small machine keeps up with;
// and has the MP4 muxer write fragments, so a file cut short (a camera pulled, a full disk) still
// plays up to its last fragment.
namespace {
constexpr char elementName[] = "tarvelorecordingenc";
// Constant quality 20 is close to the camera's picture to the eye (x264's default is 23);
// "superfast" keeps 1080p30 within half a core, where "veryfast" took most of one.
constexpr int constantQuality = 20;
constexpr char speedPreset[] = "superfast";
constexpr int keyframeIntervalFrames = 60;
constexpr guint fragmentMs = 1000;
constexpr char rawCaps[] = "video/x-raw, format = (string) { I420, NV12 }";
constexpr char codedCaps[] = "video/x-h264, stream-format = (string) { avc, byte-stream }, "
                             "alignment = (string) au, profile = (string) high";

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(rawCaps));
GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(codedCaps));

GstElementClass *parentClass = nullptr;

GstElement *makeCapsFilter(const char *caps)
{
    GstElement *filter = gst_element_factory_make("capsfilter", nullptr);
    GstCaps *parsed = gst_caps_from_string(caps);
    g_object_set(filter, "caps", parsed, nullptr);
    gst_caps_unref(parsed);
    return filter;
}

void initInstance(GTypeInstance *instance, gpointer)
{
    GstBin *bin = GST_BIN(instance);
    // The filters, not the ghost pads' templates, are what caps queries see.
    GstElement *raw = makeCapsFilter(rawCaps);
    GstElement *encoder = gst_element_factory_make("x264enc", nullptr);
    GstElement *coded = makeCapsFilter(codedCaps);
    gst_util_set_object_arg(G_OBJECT(encoder), "pass", "qual");
    gst_util_set_object_arg(G_OBJECT(encoder), "speed-preset", speedPreset);
    g_object_set(encoder, "quantizer", constantQuality, "key-int-max", keyframeIntervalFrames,
                 nullptr);
    gst_bin_add_many(bin, raw, encoder, coded, nullptr);
    gst_element_link_many(raw, encoder, coded, nullptr);

    const auto addGhost = [bin](GstElement *inner, const char *padName,
                                GstStaticPadTemplate *tmpl) {
        GstPad *target = gst_element_get_static_pad(inner, padName);
        GstPadTemplate *padTemplate = gst_static_pad_template_get(tmpl);
        gst_element_add_pad(GST_ELEMENT(bin),
                            gst_ghost_pad_new_from_template(padName, target, padTemplate));
        gst_object_unref(padTemplate);
        gst_object_unref(target);
    };
    addGhost(raw, "sink", &sinkTemplate);
    addGhost(coded, "src", &srcTemplate);
}

// The muxer is encodebin's; it is there, beside this element, before the first frame.
void fragmentSiblingMuxer(GstElement *element)
{
    GstObject *parent = gst_object_get_parent(GST_OBJECT(element));
    if (!parent)
        return;
    if (GST_IS_BIN(parent)) {
        GstIterator *children = gst_bin_iterate_elements(GST_BIN(parent));
        GValue item = G_VALUE_INIT;
        while (gst_iterator_next(children, &item) == GST_ITERATOR_OK) {
            GObject *child = G_OBJECT(g_value_get_object(&item));
            if (g_object_class_find_property(G_OBJECT_GET_CLASS(child), "fragment-duration"))
                g_object_set(child, "fragment-duration", fragmentMs, nullptr);
            g_value_reset(&item);
        }
        g_value_unset(&item);
        gst_iterator_free(children);
    }
    gst_object_unref(parent);
}

GstStateChangeReturn changeState(GstElement *element, GstStateChange transition)
{
    if (transition == GST_STATE_CHANGE_NULL_TO_READY)
        fragmentSiblingMuxer(element);
    return parentClass->change_state(element, transition);
}

void initClass(gpointer klass, gpointer)
{
    parentClass = GST_ELEMENT_CLASS(g_type_class_peek_parent(klass));
    GstElementClass *elementClass = GST_ELEMENT_CLASS(klass);
    elementClass->change_state = changeState;
    gst_element_class_add_static_pad_template(elementClass, &sinkTemplate);
    gst_element_class_add_static_pad_template(elementClass, &srcTemplate);
    gst_element_class_set_static_metadata(elementClass, "Tarvelo recording encoder",
                                          "Codec/Encoder/Video",
                                          "4:2:0 High-profile H.264 for recordings", "Tarvelo");
}
} // namespace

void registerRecordingEncoder()
{
    static const bool registered = [] {
        gst_init(nullptr, nullptr);
        GstElementFactory *x264 = gst_element_factory_find("x264enc");
        if (!x264)
            return false; // Qt's own choice then stands
        const guint rank = gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(x264)) + 1;
        gst_object_unref(x264);
        const GType type = g_type_register_static_simple(
            GST_TYPE_BIN, "TarveloRecordingEncoder", sizeof(GstBinClass), initClass, sizeof(GstBin),
            initInstance, GTypeFlags(0));
        return bool(gst_element_register(nullptr, elementName, rank, type));
    }();
    (void)registered;
}

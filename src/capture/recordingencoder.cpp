#include "capture/recordingencoder.h"
#include "session/gsttracerhook.h"

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
constexpr char guardKey[] = "tarvelo-branch-guard";
// Constant quality 20 is close to the camera's picture to the eye (x264's default is 23);
// "superfast" keeps 1080p30 within half a core, where "veryfast" took most of one.
constexpr int constantQuality = 20;
constexpr char speedPreset[] = "superfast";
constexpr int keyframeIntervalFrames = 60;
constexpr guint fragmentMs = 500; // at most this much is lost when a file is cut short
constexpr char rawCaps[] = "video/x-raw, format = (string) { I420, NV12 }";
constexpr char codedCaps[] = "video/x-h264, stream-format = (string) { avc, byte-stream }, "
                             "alignment = (string) au, profile = (string) high";

GstStaticPadTemplate sinkTemplate =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(rawCaps));
GstStaticPadTemplate srcTemplate =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(codedCaps));

// Longest the window waits for the muxer to write the end of a file the back end tears down.
constexpr gint64 finishWaitUs = 2 * G_TIME_SPAN_SECOND;

struct RecordingEncoder
{
    GstBin bin;
    GstPad *muxerSource; // where the end of the file shows as EOS
    gulong muxerProbe;
    GMutex lock;
    GCond finishedChanged;
    bool finished; // guarded by lock
    GstClockTime firstTime; // of the recording's first frame, on the camera's clock
};

GstElementClass *parentClass = nullptr;

GstElement *makeCapsFilter(const char *caps)
{
    GstElement *filter = gst_element_factory_make("capsfilter", nullptr);
    GstCaps *parsed = gst_caps_from_string(caps);
    g_object_set(filter, "caps", parsed, nullptr);
    gst_caps_unref(parsed);
    return filter;
}

// Frames come stamped with the time since the camera started. Left so, the file would begin with
// that much of nothing (players show the first picture frozen, and the length counts it): the
// recording starts at its first frame.
GstPadProbeReturn startAtFirstFrame(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    auto *self = static_cast<RecordingEncoder *>(data);
    GstBuffer *buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!GST_BUFFER_PTS_IS_VALID(buffer))
        return GST_PAD_PROBE_OK;
    if (!GST_CLOCK_TIME_IS_VALID(self->firstTime))
        self->firstTime = GST_BUFFER_PTS(buffer);
    if (GST_BUFFER_PTS(buffer) < self->firstTime)
        return GST_PAD_PROBE_DROP;
    buffer = gst_buffer_make_writable(buffer);
    GST_BUFFER_PTS(buffer) -= self->firstTime;
    if (GST_BUFFER_DTS_IS_VALID(buffer))
        GST_BUFFER_DTS(buffer) = GST_BUFFER_PTS(buffer);
    GST_PAD_PROBE_INFO_DATA(info) = buffer;
    return GST_PAD_PROBE_OK;
}

void initInstance(GTypeInstance *instance, gpointer)
{
    auto *self = reinterpret_cast<RecordingEncoder *>(instance);
    g_mutex_init(&self->lock);
    g_cond_init(&self->finishedChanged);
    GstBin *bin = GST_BIN(instance);
    // The filters, not the ghost pads' templates, are what caps queries see.
    GstElement *raw = makeCapsFilter(rawCaps);
    GstElement *encoder = gst_element_factory_make("x264enc", nullptr);
    GstElement *coded = makeCapsFilter(codedCaps);
    gst_util_set_object_arg(G_OBJECT(encoder), "pass", "qual");
    gst_util_set_object_arg(G_OBJECT(encoder), "speed-preset", speedPreset);
    g_object_set(encoder, "quantizer", constantQuality, "key-int-max", keyframeIntervalFrames,
                 nullptr);
    self->firstTime = GST_CLOCK_TIME_NONE;
    GstPad *rawSink = gst_element_get_static_pad(raw, "sink");
    gst_pad_add_probe(rawSink, GST_PAD_PROBE_TYPE_BUFFER, startAtFirstFrame, self, nullptr);
    gst_object_unref(rawSink);
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

// Qt 6.4 links a new recording branch to the camera's tee before it starts the branch's
// elements, and a frame pushed in between meets a flushing pad: the refusal reaches the camera
// source, which stops streaming for good (the preview freezes, the file stays empty). Frames the
// branch cannot take yet are dropped at the tee instead. The branch is followed through ghost
// pads (encodebin's input is one; the elements behind it start last) and `hops` elements more.
bool branchFlushing(GstPad *pad, int hops)
{
    if (GST_PAD_IS_FLUSHING(pad))
        return true;
    GstPad *next = nullptr;
    if (GST_IS_GHOST_PAD(pad)) {
        if (GstProxyPad *inside = gst_proxy_pad_get_internal(GST_PROXY_PAD(pad))) {
            next = gst_pad_get_peer(GST_PAD(inside));
            gst_object_unref(inside);
        }
    } else if (hops > 0) {
        if (GstElement *element = gst_pad_get_parent_element(pad)) {
            if (GstPad *source = gst_element_get_static_pad(element, "src")) {
                next = gst_pad_get_peer(source);
                gst_object_unref(source);
            }
            gst_object_unref(element);
        }
    }
    const bool flushing = next && branchFlushing(next, GST_IS_GHOST_PAD(pad) ? hops : hops - 1);
    if (next)
        gst_object_unref(next);
    return flushing;
}

GstPadProbeReturn dropWhileBranchStarts(GstPad *teeSource, GstPadProbeInfo *, gpointer)
{
    GstPad *peer = gst_pad_get_peer(teeSource);
    const bool flushing = peer && branchFlushing(peer, 1);
    if (peer)
        gst_object_unref(peer);
    return flushing ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

// Tee pads get the guard as they are linked, before any frame can pass: a tracer hook sees each
// link coming. Other tees' branches lose nothing by it: a frame a flushing pad would refuse is
// lost either way, only without stopping the camera.
void linkComing(GObject *, GstClockTime, GstPad *source, GstPad *)
{
    GstElement *element = gst_pad_get_parent_element(source);
    if (!element)
        return;
    GstElementFactory *factory = gst_element_get_factory(element);
    if (factory && g_str_equal(GST_OBJECT_NAME(factory), "tee")
        && !g_object_get_data(G_OBJECT(source), guardKey)) {
        g_object_set_data(G_OBJECT(source), guardKey, GINT_TO_POINTER(1));
        gst_pad_add_probe(
            source, GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST),
            dropWhileBranchStarts, nullptr, nullptr);
    }
    gst_object_unref(element);
}

GstPadProbeReturn noteFinish(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS) {
        auto *self = static_cast<RecordingEncoder *>(data);
        g_mutex_lock(&self->lock);
        self->finished = true;
        g_cond_broadcast(&self->finishedChanged);
        g_mutex_unlock(&self->lock);
    }
    return GST_PAD_PROBE_OK;
}

// The muxer is encodebin's; it is there, beside this element, before the first frame.
void watchSiblingMuxer(RecordingEncoder *self)
{
    GstObject *parent = gst_object_get_parent(GST_OBJECT(self));
    if (!parent)
        return;
    if (GST_IS_BIN(parent)) {
        GstIterator *children = gst_bin_iterate_elements(GST_BIN(parent));
        GValue item = G_VALUE_INIT;
        while (gst_iterator_next(children, &item) == GST_ITERATOR_OK) {
            auto *child = GST_ELEMENT(g_value_get_object(&item));
            if (!self->muxerSource
                && g_object_class_find_property(G_OBJECT_GET_CLASS(child), "fragment-duration")) {
                g_object_set(child, "fragment-duration", fragmentMs, nullptr);
                self->muxerSource = gst_element_get_static_pad(child, "src");
                if (self->muxerSource)
                    self->muxerProbe =
                        gst_pad_add_probe(self->muxerSource, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM,
                                          noteFinish, self, nullptr);
            }
            g_value_reset(&item);
        }
        g_value_unset(&item);
        gst_iterator_free(children);
    }
    gst_object_unref(parent);
}

// Qt 6.4 ends a recording on any pipeline error (a camera pulled out, say) by sending the end of
// stream and tearing the encoder down at once, before the muxer has written the file's end: the
// file is left without its duration. Qt pauses the pipeline while it unlinks the recording, so the
// end is sent and written at the pause. The window changes nothing else in the capture session
// while it records, so a pause means the recording is ending.
void finishFile(RecordingEncoder *self)
{
    if (!self->muxerSource || gst_pad_get_last_flow_return(self->muxerSource) != GST_FLOW_OK)
        return;
    GstPad *sink = gst_element_get_static_pad(GST_ELEMENT(self), "sink");
    gst_pad_send_event(sink, gst_event_new_eos()); // refused where the end already went through
    gst_object_unref(sink);
    const gint64 deadline = g_get_monotonic_time() + finishWaitUs;
    g_mutex_lock(&self->lock);
    while (!self->finished && g_cond_wait_until(&self->finishedChanged, &self->lock, deadline)) { }
    g_mutex_unlock(&self->lock);
}

GstStateChangeReturn changeState(GstElement *element, GstStateChange transition)
{
    auto *self = reinterpret_cast<RecordingEncoder *>(element);
    if (transition == GST_STATE_CHANGE_NULL_TO_READY)
        watchSiblingMuxer(self);
    else if (transition == GST_STATE_CHANGE_PLAYING_TO_PAUSED)
        finishFile(self);
    return parentClass->change_state(element, transition);
}

void finalizeInstance(GObject *object)
{
    auto *self = reinterpret_cast<RecordingEncoder *>(object);
    if (self->muxerSource) {
        gst_pad_remove_probe(self->muxerSource, self->muxerProbe);
        gst_object_unref(self->muxerSource);
    }
    g_mutex_clear(&self->lock);
    g_cond_clear(&self->finishedChanged);
    G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initClass(gpointer klass, gpointer)
{
    parentClass = GST_ELEMENT_CLASS(g_type_class_peek_parent(klass));
    GstElementClass *elementClass = GST_ELEMENT_CLASS(klass);
    elementClass->change_state = changeState;
    G_OBJECT_CLASS(klass)->finalize = finalizeInstance;
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
        addTracerHook("pad-link-pre", G_CALLBACK(linkComing));
        const GType type = g_type_register_static_simple(
            GST_TYPE_BIN, "TarveloRecordingEncoder", sizeof(GstBinClass), initClass,
            sizeof(RecordingEncoder), initInstance, GTypeFlags(0));
        return bool(gst_element_register(nullptr, elementName, rank, type));
    }();
    (void)registered;
}

#include "session/standinsink.h"

#include "session/multimediabackend.h"

#if TARVELO_GSTREAMER_QT64
#include "session/gsttracerhook.h"

#include <cstring>

namespace {
// When a capture session's video sink leaves, Qt 6.4 puts a fakesink in its place, and the one
// it starts with is a fakesink too. Such a stand-in prerolls like any sink: in a pipeline that is
// still PAUSED (a live camera on its way to PLAYING) it waits for a buffer that the paused source
// never sends, the stream's thread waits with it, and taking the camera out then blocks this
// thread for good. Later Qt versions make their stand-ins change state without prerolling; this
// does the same on Qt 6.4, from a tracer hook that sees every element as it is created.
bool isStandIn(const gchar *name)
{
    return std::strcmp(name, "fakevideosink") == 0 || std::strcmp(name, "fakeVideoSink") == 0;
}

void elementCreated(GObject *, GstClockTime, GstElement *element)
{
    gchar *name = gst_object_get_name(GST_OBJECT(element));
    if (name && isStandIn(name)
        && g_object_class_find_property(G_OBJECT_GET_CLASS(element), "async"))
        g_object_set(element, "async", FALSE, nullptr);
    g_free(name);
}

} // namespace

void keepStandInSinksFromPrerolling()
{
    static const bool hooked = [] {
        addTracerHook("element-new", G_CALLBACK(elementCreated));
        return true;
    }();
    Q_UNUSED(hooked);
}
#else
void keepStandInSinksFromPrerolling() { }
#endif

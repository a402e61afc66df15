#include "session/gsttracerhook.h"

namespace {
struct HookTracer
{
    GstTracer parent;
};
struct HookTracerClass
{
    GstTracerClass parent;
};
G_DEFINE_TYPE(HookTracer, hook_tracer, GST_TYPE_TRACER)

void hook_tracer_class_init(HookTracerClass *) { }
void hook_tracer_init(HookTracer *) { }
} // namespace

void addTracerHook(const char *hook, GCallback callback)
{
    gst_init(nullptr, nullptr);
    // Never released: the hook stays registered while the process runs.
    auto *tracer = GST_TRACER(g_object_new(hook_tracer_get_type(), nullptr));
    gst_tracing_register_hook(tracer, hook, callback);
}

#include "tvc-provider.h"
#include "tvc-source.h"

GST_DEBUG_CATEGORY(tvc_debug);

static gboolean plugin_init(GstPlugin *plugin)
{
    GST_DEBUG_CATEGORY_INIT(tvc_debug, "tarvelovirtualcamera", 0, "Tarvelo virtual cameras");

    /* Marginal, not none: device monitors skip providers ranked below marginal. */
    return gst_element_register(plugin, TVC_SOURCE_FACTORY_NAME, GST_RANK_NONE, TVC_TYPE_SOURCE)
        && gst_device_provider_register(plugin, TVC_PROVIDER_FACTORY_NAME, GST_RANK_MARGINAL,
                                        TVC_TYPE_PROVIDER);
}

/* GST_PLUGIN_DEFINE records this as the plugin's source module. */
#define PACKAGE "tarvelo"

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tarvelovirtualcamera,
                  "Virtual cameras for Tarvelo's tests", plugin_init, "1.0", GST_LICENSE_UNKNOWN,
                  "tarvelo", "tarvelo tests")

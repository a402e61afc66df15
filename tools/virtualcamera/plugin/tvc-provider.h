/* Device provider listing the virtual cameras.
 *
 * Action signals, for tests to hotplug cameras while an application runs
 * (the provider is a per-factory singleton, so a test reaches the instance the
 * application's device monitor uses via gst_device_provider_factory_get_by_name):
 *
 *   gboolean "add-camera"    (const gchar *text)     one camera in tvc-config.h's text form
 *   gboolean "remove-camera" (const gchar *name)   first plugged camera of that name
 */
#pragma once

#include <gst/gst.h>

G_BEGIN_DECLS

#define TVC_TYPE_PROVIDER (tvc_provider_get_type())
G_DECLARE_FINAL_TYPE(TvcProvider, tvc_provider, TVC, PROVIDER, GstDeviceProvider)

#define TVC_TYPE_DEVICE (tvc_device_get_type())
G_DECLARE_FINAL_TYPE(TvcDevice, tvc_device, TVC, DEVICE, GstDevice)

#define TVC_PROVIDER_FACTORY_NAME "tarvelovirtualcameraprovider"

G_END_DECLS

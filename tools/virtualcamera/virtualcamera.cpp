#include "virtualcamera.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QDebug>
#include <QtCore/QtGlobal>

#include <gst/gst.h>

namespace VirtualCamera {

namespace {

constexpr char providerName[] = "tarvelovirtualcameraprovider";

// Device providers that would add the machine's real cameras to the list.
constexpr char hiddenProviders[] =
    "v4l2deviceprovider:NONE,pipewiredeviceprovider:NONE,libcameraprovider:NONE";

void prependToEnv(const char *variable, const QByteArray &value, char separator)
{
    const QByteArray old = qgetenv(variable);
    qputenv(variable, old.isEmpty() ? value : value + separator + old);
}

GstDeviceProvider *provider()
{
    if (!gst_init_check(nullptr, nullptr, nullptr))
        return nullptr;
    GstDeviceProvider *p = gst_device_provider_factory_get_by_name(providerName);
    if (!p)
        qWarning("VirtualCamera: GStreamer has no %s; was install() called first?", providerName);
    return p;
}

} // namespace

QList<Format> standardFormats()
{
    const QList<Format> modes = {{640, 480, 30, {}},  {640, 480, 60, {}},   {1280, 720, 30, {}},
                                 {1280, 720, 60, {}}, {1920, 1080, 30, {}}, {1920, 1080, 60, {}},
                                 {3840, 2160, 30, {}}};
    QList<Format> formats;
    for (const char *pixel : {"YUY2", "NV12"}) {
        for (Format f : modes) {
            f.pixelFormat = pixel;
            formats.append(f);
        }
    }
    return formats;
}

Camera defaultCamera()
{
    return {QStringLiteral("Tarvelo Virtual Camera"), true, true, standardFormats()};
}

QByteArray configText(const Camera &camera)
{
    QByteArray name = camera.name.trimmed().toUtf8();
    if (name.contains(';') || name.contains('|')) {
        qWarning() << "VirtualCamera: ';' and '|' in camera names become '_':" << camera.name;
        name.replace(';', '_').replace('|', '_');
    }
    QByteArrayList fields {name};
    if (camera.isDefault)
        fields << "default";
    if (!camera.deliversFrames)
        fields << "no-frames";
    if (camera.startDelayMs > 0)
        fields << "slow-start=" + QByteArray::number(camera.startDelayMs);
    if (camera.stopsAfterFrames > 0)
        fields << "stops-after=" + QByteArray::number(camera.stopsAfterFrames);
    if (!camera.formats.isEmpty()) {
        QByteArrayList formats;
        for (const Format &f : camera.formats) {
            formats << QByteArray::number(f.width) + 'x' + QByteArray::number(f.height) + '@'
                    + QByteArray::number(f.fps) + '/' + f.pixelFormat;
        }
        fields << "formats=" + formats.join(',');
    }
    return fields.join('|');
}

void install(const QList<Camera> &cameras)
{
    QByteArrayList entries;
    for (const Camera &camera : cameras)
        entries << configText(camera);
    // Set even when empty: an empty value means "no cameras", unset means the default one.
    qputenv("TARVELO_VIRTUAL_CAMERAS", entries.join(';'));

    prependToEnv("GST_PLUGIN_PATH", TARVELO_VIRTUALCAMERA_PLUGIN_DIR, ':');
    // A registry of our own, so the plugin never lands in the user's registry; it is
    // shared by all test processes (GStreamer replaces the file atomically).
    qputenv("GST_REGISTRY_1_0", TARVELO_VIRTUALCAMERA_REGISTRY);
    prependToEnv("GST_PLUGIN_FEATURE_RANK", hiddenProviders, ',');
    qputenv("QT_MEDIA_BACKEND", "gstreamer");
}

bool plug(const Camera &camera)
{
    GstDeviceProvider *p = provider();
    if (!p)
        return false;
    gboolean added = FALSE;
    g_signal_emit_by_name(p, "add-camera", configText(camera).constData(), &added);
    gst_object_unref(p);
    return added;
}

bool unplug(const QString &name)
{
    GstDeviceProvider *p = provider();
    if (!p)
        return false;
    gboolean removed = FALSE;
    g_signal_emit_by_name(p, "remove-camera", name.trimmed().toUtf8().constData(), &removed);
    gst_object_unref(p);
    return removed;
}

} // namespace VirtualCamera

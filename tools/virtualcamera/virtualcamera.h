#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Virtual USB cameras for tests, served to Qt Multimedia's GStreamer back end by the
// plugin in virtualcamera/. Each camera streams live SMPTE colour bars: white at the top
// left, blue at the top right, dark blue at the bottom left. A camera whose formats are "MJPG"
// sends them JPEG-compressed (image/jpeg); it offers no raw formats then.
namespace VirtualCamera {

struct Format
{
    int width = 0;
    int height = 0;
    int fps = 0;
    QByteArray pixelFormat; // GStreamer raw format name ("YUY2", "NV12", ...) or "MJPG" for JPEG
};

struct Camera
{
    QString name; // must not contain ';' or '|'
    bool isDefault = false;
    bool deliversFrames = true; // false: opens and starts fine, but never yields a frame
    QList<Format> formats; // empty: standardFormats()
    int startDelayMs = 0; // starting takes this much longer, with the stream already running
    int stopsAfterFrames = 0; // each start delivers this many frames, then none; 0: never stops
};

// 640x480, 1280x720 and 1920x1080 at 30 and 60 fps plus 3840x2160 at 30, all in YUY2,
// then the same in NV12: 14 formats.
QList<Format> standardFormats();

// What the plugin offers when nothing is configured: "Tarvelo Virtual Camera", default.
Camera defaultCamera();

// Call before constructing the QGuiApplication and before any GStreamer use. Makes
// GStreamer load the plugin (private registry in the build tree) with exactly these
// cameras (an empty list means no camera), hides real cameras, and selects Qt's
// GStreamer media back end.
void install(const QList<Camera> &cameras);

// Hotplug while the application runs. Qt's QMediaDevices learns of it through its GLib
// main loop: wait for videoInputsChanged. Unplugging a camera that is streaming makes
// its source post a "Could not read from resource." error on its pipeline.
// Return false if the plugin is not loaded, the camera is invalid, or (unplug) no
// camera of that name is plugged; unplug removes the earliest plugged one of that name.
bool plug(const Camera &camera);
bool unplug(const QString &name);

// One camera in the plugin's text form (an entry of TARVELO_VIRTUAL_CAMERAS).
QByteArray configText(const Camera &camera);

} // namespace VirtualCamera

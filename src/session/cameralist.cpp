#include "session/cameralist.h"

#include "session/multimediabackend.h"

#include <QMediaDevices>

#include <algorithm>

namespace {
// Qt 6.4's GStreamer back end lists a V4L2 camera twice (its own probe and the monitor's
// announcement) and keeps the older entry after the camera is unplugged, where it never delivers
// a frame again. Of entries that look alike, only the newest is live.
bool looksAlike(const QCameraDevice &a, const QCameraDevice &b)
{
    return a.description() == b.description() && a.videoFormats() == b.videoFormats();
}
} // namespace

QList<QCameraDevice> listedCameras(const QList<QCameraDevice> &all)
{
    if constexpr (!gstreamerQt64)
        return all;
    QList<QCameraDevice> live;
    for (auto it = all.crbegin(); it != all.crend(); ++it) {
        const bool newerListed =
            std::any_of(live.cbegin(), live.cend(),
                        [&](const QCameraDevice &newer) { return looksAlike(*it, newer); });
        if (!newerListed)
            live.prepend(*it);
    }
    return live;
}

bool isSystemDefault(const QCameraDevice &camera, const QList<QCameraDevice> &all)
{
    if constexpr (!gstreamerQt64)
        return camera.isDefault();
    return std::any_of(all.cbegin(), all.cend(), [&](const QCameraDevice &device) {
        return device.isDefault() && looksAlike(device, camera);
    });
}

#pragma once

#include "controls/v4l2deviceio.h"

#include <QMap>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>

#include <linux/videodev2.h>

struct FakeControl
{
    const char *name; // as the log shows it
    quint32 id;
    qint32 minimum, maximum, step, value;
    quint32 lockedBy = 0; // the companion whose automatic mode makes writes fail
    quint32 type = V4L2_CTRL_TYPE_INTEGER;
    quint32 menu = 0; // bit n: VIDIOC_QUERYMENU answers for index n
    quint32 flags = 0;
    bool unreadable = false; // VIDIOC_G_CTRL fails
    bool refuses = false; // VIDIOC_S_CTRL fails
};

// All twelve controls and the companions a UVC webcam usually has.
inline QList<FakeControl> uvcControls()
{
    const quint32 boolean = V4L2_CTRL_TYPE_BOOLEAN;
    return {
        {"brightness", V4L2_CID_BRIGHTNESS, -64, 64, 1, 0},
        {"contrast", V4L2_CID_CONTRAST, 0, 64, 1, 32},
        {"hue", V4L2_CID_HUE, -40, 40, 1, 0, V4L2_CID_HUE_AUTO},
        {"hue_auto", V4L2_CID_HUE_AUTO, 0, 1, 1, 0, 0, boolean},
        {"saturation", V4L2_CID_SATURATION, 0, 128, 1, 64},
        {"sharpness", V4L2_CID_SHARPNESS, 0, 6, 1, 3},
        {"gamma", V4L2_CID_GAMMA, 72, 500, 1, 100},
        {"wb", V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 10, 4600,
         V4L2_CID_AUTO_WHITE_BALANCE},
        {"wb_auto", V4L2_CID_AUTO_WHITE_BALANCE, 0, 1, 1, 1, 0, boolean},
        {"backlight", V4L2_CID_BACKLIGHT_COMPENSATION, 0, 2, 1, 1},
        {"gain", V4L2_CID_GAIN, 0, 100, 1, 10},
        {"zoom", V4L2_CID_ZOOM_ABSOLUTE, 100, 500, 1, 100},
        {"exposure", V4L2_CID_EXPOSURE_ABSOLUTE, 3, 2047, 1, 166, V4L2_CID_EXPOSURE_AUTO},
        // Offers manual (1) and aperture priority (3), and is in aperture priority.
        {"exposure_auto", V4L2_CID_EXPOSURE_AUTO, 0, 3, 1, 3, 0, V4L2_CTRL_TYPE_MENU, 0b1010},
        {"focus", V4L2_CID_FOCUS_ABSOLUTE, 0, 250, 5, 40, V4L2_CID_FOCUS_AUTO},
        {"focus_auto", V4L2_CID_FOCUS_AUTO, 0, 1, 1, 1, 0, boolean},
    };
}

struct FakeNode
{
    QByteArray name; // "video0"
    QByteArray card;
    QList<FakeControl> controls;
    quint32 deviceCaps = V4L2_CAP_VIDEO_CAPTURE;
    quint32 capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE | V4L2_CAP_DEVICE_CAPS;
    bool openFails = false;
    bool gone = false; // unplugged: absent from /dev, open descriptors fail

    FakeControl *find(quint32 id)
    {
        auto it =
            std::find_if(controls.begin(), controls.end(), [=](auto &c) { return c.id == id; });
        return it == controls.end() ? nullptr : &*it;
    }
};

// A simulated /dev answering the backend's system calls as the kernel and a UVC camera do,
// errno included.
class FakeV4l2Io final : public V4l2DeviceIo
{
public:
    std::deque<FakeNode> nodes; // a deque keeps references to earlier nodes valid
    QMap<int, FakeNode *> descriptors;
    QStringList writes; // "gain=5", with " refused" when it failed

    FakeNode &add(const QByteArray &name, const QByteArray &card,
                  const QList<FakeControl> &controls = uvcControls())
    {
        return nodes.emplace_back(FakeNode {name, card, controls});
    }
    QByteArray bound() const { return descriptors.size() == 1 ? descriptors.first()->name : ""; }

    bool readDirectory(const QByteArray &, QList<QByteArray> *names) override
    {
        *names = {".", "media0", "video", "video-1"}; // to be passed over
        for (const FakeNode &node : nodes) {
            if (!node.gone)
                names->append(node.name);
        }
        return true;
    }

    int open(const QByteArray &path, int) override
    {
        for (FakeNode &node : nodes) {
            if ("/dev/" + node.name == path && !node.gone && !node.openFails) {
                descriptors.insert(nextDescriptor, &node);
                return nextDescriptor++;
            }
        }
        return -1;
    }

    int close(int fd) override { return descriptors.remove(fd) == 1 ? 0 : -1; }

    int ioctl(int fd, unsigned long request, void *argument) override
    {
        FakeNode *node = descriptors.value(fd);
        if (!node)
            return fail(EBADF);
        if (node->gone)
            return fail(ENODEV);
        auto *capability = static_cast<v4l2_capability *>(argument);
        auto *value = static_cast<v4l2_control *>(argument);
        FakeControl *c = node->find(value->id); // every control request starts with the id
        switch (request) {
        case VIDIOC_QUERYCAP:
            *capability = {};
            // Like the kernel: NUL-terminated only when shorter than the field, bus_info next.
            memcpy(capability->card, node->card.constData(),
                   std::min<size_t>(node->card.size() + 1, sizeof capability->card));
            strcpy(reinterpret_cast<char *>(capability->bus_info), "usb-0000:00:14.0-1");
            capability->capabilities = node->capabilities;
            capability->device_caps = node->deviceCaps;
            return 0;
        case VIDIOC_QUERYCTRL:
            if (!c)
                return fail(EINVAL);
            *static_cast<v4l2_queryctrl *>(argument) = {
                c->id, c->type, {}, c->minimum, c->maximum, c->step, c->value, c->flags, {}};
            return 0;
        case VIDIOC_QUERYMENU: {
            const quint32 index = static_cast<v4l2_querymenu *>(argument)->index;
            return c && index < 32 && (c->menu >> index & 1) ? 0 : fail(EINVAL);
        }
        case VIDIOC_G_CTRL:
            if (!c || c->unreadable)
                return fail(EINVAL);
            value->value = c->value;
            return 0;
        case VIDIOC_S_CTRL:
            return write(*node, c, value);
        }
        return fail(ENOTTY);
    }

private:
    static int fail(int error)
    {
        errno = error;
        return -1;
    }

    int write(FakeNode &node, FakeControl *c, v4l2_control *value)
    {
        // Automatic: a switch that is on, or exposure_auto in auto (0) or aperture priority (3).
        const FakeControl *lock = c ? node.find(c->lockedBy) : nullptr;
        const bool locked = lock && (lock->menu ? lock->value % 3 == 0 : lock->value != 0);
        const bool refused = !c || c->refuses || (c->flags & V4L2_CTRL_FLAG_DISABLED) || locked;
        writes.append(QString::asprintf("%s=%d%s", c ? c->name : "?", value->value,
                                        refused ? " refused" : ""));
        if (refused)
            return fail(c ? EBUSY : EINVAL);
        // The kernel's rule: clamp to the range, then round to the nearest step.
        const qint64 step = std::max(c->step, 1);
        const qint64 offset = std::clamp(value->value, c->minimum, c->maximum) - c->minimum;
        c->value = value->value =
            qint32(std::min<qint64>(c->minimum + (offset + step / 2) / step * step, c->maximum));
        return 0;
    }

    int nextDescriptor = 3;
};

#include "fakev4l2device.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

FakeControl &FakeNode::add(quint32 id, quint32 type, qint32 minimum, qint32 maximum, qint32 step,
                           qint32 value)
{
    FakeControl control;
    control.id = id;
    control.type = type;
    control.minimum = minimum;
    control.maximum = maximum;
    control.step = step;
    control.value = value;
    controls.push_back(control);
    return controls.back();
}

FakeControl *FakeNode::find(quint32 id)
{
    for (FakeControl &control : controls) {
        if (control.id == id)
            return &control;
    }
    return nullptr;
}

FakeControl &FakeNode::control(quint32 id)
{
    FakeControl *found = find(id);
    Q_ASSERT(found);
    return *found;
}

void FakeNode::remove(quint32 id)
{
    controls.erase(std::remove_if(controls.begin(), controls.end(),
                                  [id](const FakeControl &control) { return control.id == id; }),
                   controls.end());
}

namespace {
class BorrowedIo final : public V4l2DeviceIo
{
public:
    explicit BorrowedIo(V4l2DeviceIo *target)
        : target(target)
    { }
    bool readDirectory(const QByteArray &path, QList<QByteArray> *names) override
    {
        return target->readDirectory(path, names);
    }
    int open(const QByteArray &path, int flags) override { return target->open(path, flags); }
    int ioctl(int fd, unsigned long request, void *argument) override
    {
        return target->ioctl(fd, request, argument);
    }
    int close(int fd) override { return target->close(fd); }

private:
    V4l2DeviceIo *target;
};
} // namespace

std::unique_ptr<V4l2DeviceIo> FakeV4l2Io::borrow()
{
    return std::make_unique<BorrowedIo>(this);
}

FakeNode &FakeV4l2Io::addCaptureNode(const QByteArray &name, const QByteArray &card)
{
    FakeNode node;
    node.name = name;
    node.card = card;
    node.deviceCaps = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    node.capabilities = node.deviceCaps | V4L2_CAP_META_CAPTURE | V4L2_CAP_DEVICE_CAPS;
    nodes.push_back(node);
    return nodes.back();
}

FakeNode &FakeV4l2Io::addMetadataNode(const QByteArray &name, const QByteArray &card)
{
    FakeNode &node = addCaptureNode(name, card);
    node.deviceCaps = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
    return node;
}

FakeNode &FakeV4l2Io::addUvcCamera(const QByteArray &name, const QByteArray &card)
{
    FakeNode &node = addCaptureNode(name, card);
    const quint32 integer = V4L2_CTRL_TYPE_INTEGER;
    const quint32 boolean = V4L2_CTRL_TYPE_BOOLEAN;
    const quint32 menu = V4L2_CTRL_TYPE_MENU;
    node.add(V4L2_CID_BRIGHTNESS, integer, -64, 64, 1, 0);
    node.add(V4L2_CID_CONTRAST, integer, 0, 64, 1, 32);
    node.add(V4L2_CID_HUE, integer, -40, 40, 1, 0).lockedBy = V4L2_CID_HUE_AUTO;
    node.add(V4L2_CID_HUE_AUTO, boolean, 0, 1, 1, 0);
    node.add(V4L2_CID_SATURATION, integer, 0, 128, 1, 64);
    node.add(V4L2_CID_SHARPNESS, integer, 0, 6, 1, 3);
    node.add(V4L2_CID_GAMMA, integer, 72, 500, 1, 100);
    node.add(V4L2_CID_WHITE_BALANCE_TEMPERATURE, integer, 2800, 6500, 10, 4600).lockedBy =
        V4L2_CID_AUTO_WHITE_BALANCE;
    node.add(V4L2_CID_AUTO_WHITE_BALANCE, boolean, 0, 1, 1, 1);
    node.add(V4L2_CID_BACKLIGHT_COMPENSATION, integer, 0, 2, 1, 1);
    node.add(V4L2_CID_GAIN, integer, 0, 100, 1, 10);
    node.add(V4L2_CID_POWER_LINE_FREQUENCY, menu, 0, 2, 1, 1).menuItems = {0, 1, 2};
    node.add(V4L2_CID_ZOOM_ABSOLUTE, integer, 100, 500, 1, 100);
    node.add(V4L2_CID_EXPOSURE_ABSOLUTE, integer, 3, 2047, 1, 166).lockedBy =
        V4L2_CID_EXPOSURE_AUTO;
    node.add(V4L2_CID_EXPOSURE_AUTO, menu, 0, 3, 1, V4L2_EXPOSURE_APERTURE_PRIORITY).menuItems = {
        V4L2_EXPOSURE_MANUAL, V4L2_EXPOSURE_APERTURE_PRIORITY};
    node.add(V4L2_CID_FOCUS_ABSOLUTE, integer, 0, 250, 5, 40).lockedBy = V4L2_CID_FOCUS_AUTO;
    node.add(V4L2_CID_FOCUS_AUTO, boolean, 0, 1, 1, 1);
    return node;
}

FakeNode &FakeV4l2Io::node(const QByteArray &name)
{
    for (FakeNode &node : nodes) {
        if (node.name == name)
            return node;
    }
    Q_ASSERT(false);
    return nodes.front();
}

void FakeV4l2Io::unplug(const QByteArray &name)
{
    node(name).unplugged = true;
}

QStringList FakeV4l2Io::calls(const QString &prefix) const
{
    QStringList matching;
    for (const QString &line : log) {
        if (line.startsWith(prefix))
            matching.append(line.mid(prefix.size()));
    }
    return matching;
}

QByteArray FakeV4l2Io::boundNode() const
{
    return descriptors.size() == 1 ? descriptors.first()->name : QByteArray();
}

QString FakeV4l2Io::controlName(quint32 id)
{
    static const QMap<quint32, QString> names {
        {V4L2_CID_BRIGHTNESS, QStringLiteral("brightness")},
        {V4L2_CID_CONTRAST, QStringLiteral("contrast")},
        {V4L2_CID_HUE, QStringLiteral("hue")},
        {V4L2_CID_HUE_AUTO, QStringLiteral("hue_auto")},
        {V4L2_CID_SATURATION, QStringLiteral("saturation")},
        {V4L2_CID_SHARPNESS, QStringLiteral("sharpness")},
        {V4L2_CID_GAMMA, QStringLiteral("gamma")},
        {V4L2_CID_WHITE_BALANCE_TEMPERATURE, QStringLiteral("wb_temperature")},
        {V4L2_CID_AUTO_WHITE_BALANCE, QStringLiteral("wb_auto")},
        {V4L2_CID_BACKLIGHT_COMPENSATION, QStringLiteral("backlight")},
        {V4L2_CID_GAIN, QStringLiteral("gain")},
        {V4L2_CID_AUTOGAIN, QStringLiteral("autogain")},
        {V4L2_CID_ZOOM_ABSOLUTE, QStringLiteral("zoom")},
        {V4L2_CID_EXPOSURE_ABSOLUTE, QStringLiteral("exposure")},
        {V4L2_CID_EXPOSURE_AUTO, QStringLiteral("exposure_auto")},
        {V4L2_CID_FOCUS_ABSOLUTE, QStringLiteral("focus")},
        {V4L2_CID_FOCUS_AUTO, QStringLiteral("focus_auto")},
    };
    return names.value(id, QStringLiteral("0x%1").arg(id, 0, 16));
}

int FakeV4l2Io::fail(const QString &call, int error)
{
    log.append(call + QStringLiteral(" -> ") + QString::fromLatin1(strerrorname_np(error)));
    errno = error;
    return -1;
}

bool FakeV4l2Io::readDirectory(const QByteArray &path, QList<QByteArray> *names)
{
    if (path != "/dev" || readDirectoryError) {
        errno = readDirectoryError ? readDirectoryError : ENOENT;
        return false;
    }
    *names = otherEntries;
    for (const FakeNode &node : nodes) {
        if (!node.unplugged)
            names->append(node.name);
    }
    return true;
}

int FakeV4l2Io::open(const QByteArray &path, int flags)
{
    const QString call = QStringLiteral("open ") + QString::fromUtf8(path);
    openFlags.append(flags);
    for (FakeNode &node : nodes) {
        if ("/dev/" + node.name != path || node.unplugged)
            continue;
        if (node.openError)
            return fail(call, node.openError);
        log.append(call);
        descriptors.insert(nextDescriptor, &node);
        return nextDescriptor++;
    }
    return fail(call, ENOENT);
}

int FakeV4l2Io::close(int fd)
{
    FakeNode *node = descriptors.take(fd);
    if (!node)
        return fail(QStringLiteral("close %1").arg(fd), EBADF);
    log.append(QStringLiteral("close /dev/") + QString::fromUtf8(node->name));
    return 0;
}

int FakeV4l2Io::ioctl(int fd, unsigned long request, void *argument)
{
    FakeNode *node = descriptors.value(fd);
    if (!node)
        return fail(QStringLiteral("ioctl %1").arg(fd), EBADF);
    QString call;
    const int error = handle(*node, request, argument, &call);
    if (error)
        return fail(call, error);
    log.append(call);
    return 0;
}

bool FakeV4l2Io::isAutomatic(FakeNode &node, quint32 companion)
{
    const FakeControl *control = node.find(companion);
    if (!control)
        return false;
    if (companion == V4L2_CID_EXPOSURE_AUTO)
        return control->value == V4L2_EXPOSURE_AUTO
            || control->value == V4L2_EXPOSURE_APERTURE_PRIORITY;
    return control->value != 0;
}

// Returns 0 or the errno of the refusal.
int FakeV4l2Io::handle(FakeNode &node, unsigned long request, void *argument, QString *call)
{
    const QString name = QString::fromUtf8(node.name);
    switch (request) {
    case VIDIOC_QUERYCAP: {
        *call = QStringLiteral("QUERYCAP ") + name;
        if (node.unplugged)
            return ENODEV;
        auto *capability = static_cast<v4l2_capability *>(argument);
        *capability = {};
        strncpy(reinterpret_cast<char *>(capability->driver), "uvcvideo",
                sizeof capability->driver);
        // Like the kernel: NUL-terminated only when shorter than the field.
        memcpy(capability->card, node.card.constData(),
               std::min<size_t>(node.card.size() + 1, sizeof capability->card));
        strncpy(reinterpret_cast<char *>(capability->bus_info), "usb-0000:00:14.0-1",
                sizeof capability->bus_info);
        capability->capabilities = node.capabilities;
        capability->device_caps = node.deviceCaps;
        return 0;
    }
    case VIDIOC_QUERYCTRL: {
        auto *query = static_cast<v4l2_queryctrl *>(argument);
        *call = QStringLiteral("QUERYCTRL %1 %2").arg(name, controlName(query->id));
        if (node.unplugged)
            return ENODEV;
        const FakeControl *control = node.find(query->id);
        if (!control)
            return EINVAL;
        *query = {};
        query->id = control->id;
        query->type = control->type;
        query->minimum = control->minimum;
        query->maximum = control->maximum;
        query->step = control->step;
        query->default_value = control->value;
        query->flags = control->flags;
        if (control->lockedBy && isAutomatic(node, control->lockedBy))
            query->flags |= V4L2_CTRL_FLAG_INACTIVE;
        return 0;
    }
    case VIDIOC_QUERYMENU: {
        auto *item = static_cast<v4l2_querymenu *>(argument);
        *call =
            QStringLiteral("QUERYMENU %1 %2 %3").arg(name, controlName(item->id)).arg(item->index);
        if (node.unplugged)
            return ENODEV;
        const FakeControl *control = node.find(item->id);
        if (!control || control->type != V4L2_CTRL_TYPE_MENU
            || !control->menuItems.contains(qint32(item->index)))
            return EINVAL;
        strncpy(reinterpret_cast<char *>(item->name), "mode", sizeof item->name);
        return 0;
    }
    case VIDIOC_G_CTRL: {
        auto *value = static_cast<v4l2_control *>(argument);
        *call = QStringLiteral("G_CTRL %1 %2").arg(name, controlName(value->id));
        if (node.unplugged)
            return ENODEV;
        // Disabled controls still read back on some drivers; the flag is what counts.
        const FakeControl *control = node.find(value->id);
        if (!control)
            return EINVAL;
        if (control->getError)
            return control->getError;
        if (control->flags & V4L2_CTRL_FLAG_WRITE_ONLY)
            return EACCES;
        value->value = control->value;
        return 0;
    }
    case VIDIOC_S_CTRL: {
        auto *value = static_cast<v4l2_control *>(argument);
        *call =
            QStringLiteral("S_CTRL %1 %2=%3").arg(name, controlName(value->id)).arg(value->value);
        if (node.unplugged)
            return ENODEV;
        FakeControl *control = node.find(value->id);
        if (!control || (control->flags & V4L2_CTRL_FLAG_DISABLED))
            return EINVAL;
        if (control->setError)
            return control->setError;
        if (control->flags & V4L2_CTRL_FLAG_READ_ONLY)
            return EACCES;
        if (control->lockedBy && isAutomatic(node, control->lockedBy))
            return EBUSY;
        qint32 applied = value->value;
        if (control->type == V4L2_CTRL_TYPE_MENU) {
            if (!control->menuItems.contains(applied))
                return EINVAL;
        } else if (control->type == V4L2_CTRL_TYPE_BOOLEAN) {
            applied = applied != 0;
        } else {
            // The kernel's rule for integers: clamp, then round to the nearest step.
            const qint64 step = std::max(control->step, 1);
            const qint64 offset =
                std::clamp<qint64>(applied, control->minimum, control->maximum) - control->minimum;
            applied = qint32(control->minimum + (offset + step / 2) / step * step);
            applied = std::min(applied, control->maximum);
        }
        control->value = applied;
        value->value = applied;
        return 0;
    }
    default:
        *call = QStringLiteral("ioctl %1 0x%2").arg(name).arg(request, 0, 16);
        return ENOTTY;
    }
}

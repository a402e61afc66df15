#include "controls/v4l2cameracontrols.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <linux/videodev2.h>

namespace {
struct V4l2Mapping
{
    int id;
    quint32 valueControl;
    quint32 autoControl; // 0: the control has no automatic mode
};

constexpr V4l2Mapping mappings[] = {
    {Brightness, V4L2_CID_BRIGHTNESS, 0},
    {Contrast, V4L2_CID_CONTRAST, 0},
    {Hue, V4L2_CID_HUE, V4L2_CID_HUE_AUTO},
    {Saturation, V4L2_CID_SATURATION, 0},
    {Sharpness, V4L2_CID_SHARPNESS, 0},
    {Gamma, V4L2_CID_GAMMA, 0},
    {WhiteBalance, V4L2_CID_WHITE_BALANCE_TEMPERATURE, V4L2_CID_AUTO_WHITE_BALANCE},
    {BacklightCompensation, V4L2_CID_BACKLIGHT_COMPENSATION, 0},
    {Gain, V4L2_CID_GAIN, V4L2_CID_AUTOGAIN},
    {Zoom, V4L2_CID_ZOOM_ABSOLUTE, 0},
    {Exposure, V4L2_CID_EXPOSURE_ABSOLUTE, V4L2_CID_EXPOSURE_AUTO},
    {Focus, V4L2_CID_FOCUS_ABSOLUTE, V4L2_CID_FOCUS_AUTO},
    {Pan, V4L2_CID_PAN_ABSOLUTE, 0},
    {Tilt, V4L2_CID_TILT_ABSOLUTE, 0},
    {Iris, V4L2_CID_IRIS_ABSOLUTE, 0},
    {PowerLineFrequency, V4L2_CID_POWER_LINE_FREQUENCY, 0},
};
// All but Roll: the Linux UVC driver maps no V4L2 control to the camera's roll, so a camera's roll
// cannot be reached here and the row never shows.
static_assert(std::size(mappings) == controlCount - 1);

const V4l2Mapping *findMapping(int id)
{
    for (const V4l2Mapping &mapping : mappings) {
        if (mapping.id == id)
            return &mapping;
    }
    return nullptr;
}

// The types whose value VIDIOC_G_CTRL/S_CTRL carry as one 32-bit integer.
bool isIntegerValued(quint32 type)
{
    return type == V4L2_CTRL_TYPE_INTEGER || type == V4L2_CTRL_TYPE_BOOLEAN
        || type == V4L2_CTRL_TYPE_MENU || type == V4L2_CTRL_TYPE_INTEGER_MENU;
}

// Exposure time is automatic in these two exposure_auto modes; in shutter priority it is the
// user's, only the iris is automatic.
bool isAutomaticExposureMode(qint32 mode)
{
    return mode == V4L2_EXPOSURE_AUTO || mode == V4L2_EXPOSURE_APERTURE_PRIORITY;
}

QString cardName(const v4l2_capability &capability)
{
    const char *card = reinterpret_cast<const char *>(capability.card);
    return QString::fromUtf8(card, qsizetype(strnlen(card, sizeof capability.card)));
}

bool isVideoCapture(const v4l2_capability &capability)
{
    // A UVC camera's metadata node shares the physical device's capabilities; its own are in
    // device_caps.
    const quint32 caps = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) ? capability.device_caps
                                                                          : capability.capabilities;
    return caps & (V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_CAPTURE_MPLANE);
}

// The /dev/videoN entries, by N.
QList<QByteArray> videoNodes(const QList<QByteArray> &names)
{
    QList<std::pair<quint32, QByteArray>> numbered;
    for (const QByteArray &name : names) {
        if (!name.startsWith("video"))
            continue;
        const QByteArray digits = name.mid(5);
        if (digits.isEmpty() || !std::all_of(digits.cbegin(), digits.cend(), [](char c) {
                return c >= '0' && c <= '9';
            }))
            continue;
        bool ok = false;
        const quint32 number = digits.toUInt(&ok);
        if (ok)
            numbered.append({number, name});
    }
    std::sort(numbered.begin(), numbered.end());
    QList<QByteArray> nodes;
    for (const auto &node : numbered)
        nodes.append(QByteArrayLiteral("/dev/") + node.second);
    return nodes;
}
} // namespace

V4l2CameraControls::V4l2CameraControls(std::unique_ptr<V4l2DeviceIo> deviceIo)
    : io(std::move(deviceIo))
{ }

V4l2CameraControls::~V4l2CameraControls()
{
    closeDevice();
}

void V4l2CameraControls::closeDevice()
{
    hangUpWatch.reset();
    if (fd >= 0)
        io->close(fd);
    fd = -1;
}

bool V4l2CameraControls::open(const QString &description)
{
    error.clear();
    entries.clear();
    closeDevice();

    // Unlike the DirectShow back end's texts these have English entries, looked up here because
    // the panel shows lastError as it stands.
    QList<QByteArray> names;
    if (!io->readDirectory(QByteArrayLiteral("/dev"), &names)) {
        error = QCoreApplication::translate("MainWindow", "无法打开 V4L2 视频设备目录");
        return false;
    }

    int captureNodes = 0;
    for (const QByteArray &path : videoNodes(names)) {
        const int candidate = io->open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (candidate < 0)
            continue;
        v4l2_capability capability {};
        if (io->ioctl(candidate, VIDIOC_QUERYCAP, &capability) == 0 && isVideoCapture(capability)) {
            ++captureNodes;
            if (cardName(capability).compare(description, Qt::CaseInsensitive) == 0) {
                fd = candidate;
                break;
            }
        }
        io->close(candidate);
    }

    if (fd < 0) {
        error = captureNodes == 0
            ? QCoreApplication::translate("MainWindow", "系统没有返回 V4L2 视频输入设备")
            : QCoreApplication::translate("MainWindow", "未找到与“%1”匹配的 V4L2 设备")
                  .arg(description);
        return false;
    }

    // An unplugged camera's node can only be freed, and given to the camera when it returns,
    // once no one holds it: let go at once rather than at the next open.
    hangUpWatch = io->watchHangUp(fd, [this] {
        v4l2_capability capability {};
        request(VIDIOC_QUERYCAP, &capability);
    });

    // A node without any of the controls stays bound, like the filter on Windows: setValue still
    // asks it.
    readControls();
    if (entries.isEmpty()) {
        error = QCoreApplication::translate("MainWindow", "摄像头没有公开标准 UVC 控制参数");
        return false;
    }
    return true;
}

void V4l2CameraControls::readControls()
{
    for (const ControlDescriptor &descriptor : controlDescriptors) {
        const V4l2Mapping *mapping = findMapping(descriptor.id);
        if (!mapping)
            continue;
        v4l2_queryctrl query {};
        query.id = mapping->valueControl;
        // A read-only control cannot be adjusted; an inactive or grabbed one can be again later,
        // so it stays listed and only its writes are refused.
        if (io->ioctl(fd, VIDIOC_QUERYCTRL, &query) != 0
            || (query.flags & (V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_READ_ONLY))
            || !isIntegerValued(query.type) || query.maximum < query.minimum)
            continue;
        qint32 value = 0;
        if (!readControl(mapping->valueControl, &value))
            continue;

        Entry entry;
        entry.valueControl = mapping->valueControl;
        NativeControl &control = entry.control;
        control.id = descriptor.id;
        control.name = QString::fromUtf8(descriptor.name);
        control.minimum = query.minimum;
        control.maximum = query.maximum;
        control.step = std::max<qint32>(query.step, 1);
        control.initialValue = value;
        control.value = value;
        control.defaultValue = query.default_value;
        // A menu (power-line frequency) offers only the entries the driver lists.
        if (query.type == V4L2_CTRL_TYPE_MENU || query.type == V4L2_CTRL_TYPE_INTEGER_MENU) {
            for (qint32 index = query.minimum; index <= query.maximum; ++index) {
                v4l2_querymenu item {};
                item.id = query.id;
                item.index = quint32(index);
                if (io->ioctl(fd, VIDIOC_QUERYMENU, &item) == 0)
                    control.choices.append(index);
            }
            if (control.choices.isEmpty())
                continue;
        }
        if (mapping->autoControl && probeCompanion(mapping->autoControl, &entry)) {
            entry.autoControl = mapping->autoControl;
            control.supportsAutomatic = true;
        }
        control.initialAutomatic = control.automatic;
        entries.append(entry);
    }
}

// Whether the companion can be switched both ways; if so, fills in its two modes and the current
// state.
bool V4l2CameraControls::probeCompanion(quint32 autoControl, Entry *entry)
{
    v4l2_queryctrl query {};
    query.id = autoControl;
    if (io->ioctl(fd, VIDIOC_QUERYCTRL, &query) != 0
        || (query.flags & (V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_READ_ONLY)))
        return false;
    qint32 current = 0;

    if (query.type == V4L2_CTRL_TYPE_MENU) {
        if (autoControl != V4L2_CID_EXPOSURE_AUTO || !readControl(autoControl, &current))
            return false;
        const auto offered = [&](qint32 mode) {
            if (mode < query.minimum || mode > query.maximum)
                return false;
            v4l2_querymenu item {};
            item.id = autoControl;
            item.index = quint32(mode);
            return io->ioctl(fd, VIDIOC_QUERYMENU, &item) == 0;
        };
        // Shutter priority leaves the exposure time to the user, so a camera found in it keeps
        // it as its manual mode and goes back to it on a restore.
        if (current == V4L2_EXPOSURE_SHUTTER_PRIORITY)
            entry->manualMode = V4L2_EXPOSURE_SHUTTER_PRIORITY;
        else if (offered(V4L2_EXPOSURE_MANUAL))
            entry->manualMode = V4L2_EXPOSURE_MANUAL;
        else
            return false;
        // Keep the device's own automatic mode when it is in one, then its default; otherwise
        // prefer full auto.
        if (isAutomaticExposureMode(current))
            entry->automaticMode = current;
        else if (isAutomaticExposureMode(query.default_value) && offered(query.default_value))
            entry->automaticMode = query.default_value;
        else if (offered(V4L2_EXPOSURE_AUTO))
            entry->automaticMode = V4L2_EXPOSURE_AUTO;
        else if (offered(V4L2_EXPOSURE_APERTURE_PRIORITY))
            entry->automaticMode = V4L2_EXPOSURE_APERTURE_PRIORITY;
        else
            return false;
        entry->control.automatic = isAutomaticExposureMode(current);
        entry->control.defaultAutomatic = isAutomaticExposureMode(query.default_value);
        return true;
    }

    const bool isSwitch = query.type == V4L2_CTRL_TYPE_BOOLEAN
        || (query.type == V4L2_CTRL_TYPE_INTEGER && query.minimum <= 0 && query.maximum >= 1);
    if (!isSwitch || !readControl(autoControl, &current))
        return false;
    entry->manualMode = 0;
    entry->automaticMode = 1;
    entry->control.automatic = current != 0;
    entry->control.defaultAutomatic = query.default_value != 0;
    return true;
}

bool V4l2CameraControls::readControl(quint32 id, qint32 *value)
{
    v4l2_control control {};
    control.id = id;
    if (io->ioctl(fd, VIDIOC_G_CTRL, &control) != 0)
        return false;
    *value = control.value;
    return true;
}

// On success *value holds what the driver has now: V4L2 rounds to the step, and the value read
// back is the one the row and a saved preset must show.
bool V4l2CameraControls::writeControl(quint32 id, qint32 *value)
{
    v4l2_control control {};
    control.id = id;
    control.value = *value;
    if (request(VIDIOC_S_CTRL, &control) != 0)
        return false;
    *value = control.value;
    readControl(id, value);
    return true;
}

int V4l2CameraControls::request(unsigned long code, void *argument)
{
    if (fd < 0) {
        errno = EBADF;
        return -1;
    }
    const int result = io->ioctl(fd, code, argument);
    // The camera is gone: let go of the node so the kernel can free it for the camera's return.
    if (result != 0 && errno == ENODEV)
        closeDevice();
    return result;
}

// The driver stores a value for an inactive control without applying it, and a grabbed one is
// busy: neither is the camera accepting the value.
bool V4l2CameraControls::isWritable(quint32 id)
{
    v4l2_queryctrl query {};
    query.id = id;
    return request(VIDIOC_QUERYCTRL, &query) == 0
        && !(query.flags & (V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_GRABBED));
}

bool V4l2CameraControls::writeValue(const Entry &entry, qint32 *value)
{
    return isWritable(entry.valueControl) && writeControl(entry.valueControl, value);
}

bool V4l2CameraControls::writeMode(const Entry &entry, bool automatic)
{
    qint32 mode = automatic ? entry.automaticMode : entry.manualMode;
    return writeControl(entry.autoControl, &mode);
}

V4l2CameraControls::Entry *V4l2CameraControls::findEntry(int id)
{
    for (Entry &entry : entries) {
        if (entry.control.id == id)
            return &entry;
    }
    return nullptr;
}

QList<NativeControl> V4l2CameraControls::controls() const
{
    QList<NativeControl> list;
    list.reserve(entries.size());
    for (const Entry &entry : entries)
        list.append(entry.control);
    return list;
}

bool V4l2CameraControls::setValue(int id, int value)
{
    const V4l2Mapping *mapping = findMapping(id);
    if (!mapping || fd < 0)
        return false;

    qint32 applied = value;
    Entry *entry = findEntry(id);
    if (!entry) {
        // Not listed (absent, disabled, unreadable): the device still decides, as it would on
        // Windows, but there is no record to update and no companion known to switch.
        return writeControl(mapping->valueControl, &applied);
    }

    // V4L2 would clamp a value out of range where a UVC camera on Windows refuses it.
    if (value < entry->control.minimum || value > entry->control.maximum)
        return false;
    // Manual first: while the companion is automatic, drivers ignore or refuse the value.
    if (entry->autoControl && !writeMode(*entry, false))
        return false;
    if (!writeValue(*entry, &applied)) {
        if (entry->autoControl && entry->control.automatic)
            writeMode(*entry, true);
        return false;
    }
    entry->control.value = applied;
    entry->control.automatic = false;
    return true;
}

bool V4l2CameraControls::setAutomatic(int id, bool automatic)
{
    // Only listed controls: the value to keep comes from the record.
    Entry *entry = fd >= 0 ? findEntry(id) : nullptr;
    if (!entry)
        return false;

    if (automatic) {
        if (!entry->autoControl || !writeMode(*entry, true))
            return false;
        entry->control.automatic = true;
        return true;
    }

    if (entry->autoControl && !writeMode(*entry, false))
        return false;
    qint32 applied = entry->control.value;
    if (!writeValue(*entry, &applied)) {
        if (entry->autoControl && entry->control.automatic)
            writeMode(*entry, true);
        return false;
    }
    entry->control.automatic = false;
    return true;
}

QString V4l2CameraControls::lastError() const
{
    return error;
}

std::unique_ptr<NativeCameraControls> createNativeCameraControls()
{
    return std::make_unique<V4l2CameraControls>(createSystemV4l2DeviceIo());
}

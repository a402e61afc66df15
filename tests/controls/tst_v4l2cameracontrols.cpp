// The V4L2 backend over a simulated /dev: the test double of V4l2DeviceIo answers the backend's
// system calls as the kernel and a UVC camera do, errno included.
#include "controls/v4l2cameracontrols.h"
#include "controls/v4l2deviceio.h"

#include <QMap>
#include <QTest>

#include <cerrno>
#include <deque>
#include <functional>

#include <linux/videodev2.h>

namespace {
constexpr quint32 Refuses = 1u << 31; // not a V4L2 flag: the fake's S_CTRL fails

struct FakeControl
{
    const char *name; // as the log shows it
    quint32 id;
    qint32 minimum, maximum, step, value, defaultValue;
    quint32 type = V4L2_CTRL_TYPE_INTEGER, menu = 0, flags = 0; // menu bit n: index n listed
};

// The controls and companions of a UVC webcam with a motorised head.
const QList<FakeControl> uvcControls = {
    {"brightness", V4L2_CID_BRIGHTNESS, -64, 64, 1, 0, 0},
    {"wb", V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 10, 4600, 4600},
    {"wb_auto", V4L2_CID_AUTO_WHITE_BALANCE, 0, 1, 1, 1, 1, V4L2_CTRL_TYPE_BOOLEAN},
    {"power_line", V4L2_CID_POWER_LINE_FREQUENCY, 0, 3, 1, 2, 1, V4L2_CTRL_TYPE_MENU,
     0b0111}, // no auto
    {"gain", V4L2_CID_GAIN, 0, 100, 1, 10, 20},
    {"autogain", V4L2_CID_AUTOGAIN, 0, 1, 1, 0, 1}, // an integer, not a boolean
    {"exposure", V4L2_CID_EXPOSURE_ABSOLUTE, 3, 2047, 1, 166, 250},
    {"exposure_auto", V4L2_CID_EXPOSURE_AUTO, 0, 3, 1, 3, 3, V4L2_CTRL_TYPE_MENU,
     0b1010}, // aperture priority
    {"pan", V4L2_CID_PAN_ABSOLUTE, -36000, 36000, 3600, 0, 0},
    {"tilt", V4L2_CID_TILT_ABSOLUTE, -36000, 36000, 3600, 3600, 0},
    {"iris", V4L2_CID_IRIS_ABSOLUTE, 10, 160, 1, 40, 20},
};

struct FakeNode
{
    QByteArray name, card; // "video0", the name the camera reports
    quint32 deviceCaps = V4L2_CAP_VIDEO_CAPTURE;
    QList<FakeControl> controls = uvcControls;
};

class FakeV4l2Io final : public V4l2DeviceIo
{
public:
    std::deque<FakeNode> nodes; // a deque keeps references to earlier nodes valid
    QMap<int, FakeNode *> descriptors;
    QStringList writes; // "gain=5", with " refused" when it failed

    bool readDirectory(const QByteArray &, QList<QByteArray> *names) override
    {
        *names = {"media0", "video-1"}; // to be passed over
        for (const FakeNode &node : nodes)
            names->append(node.name);
        return true;
    }
    int open(const QByteArray &path, int) override
    {
        for (FakeNode &node : nodes)
            if ("/dev/" + node.name == path)
                return descriptors.insert(++lastDescriptor, &node).key();
        return -1;
    }
    int close(int fd) override { return descriptors.remove(fd) == 1 ? 0 : -1; }

    int ioctl(int fd, unsigned long request, void *argument) override
    {
        FakeNode *node = descriptors.value(fd);
        if (!node)
            return fail(EBADF);
        if (request == VIDIOC_QUERYCAP) {
            auto *capability = static_cast<v4l2_capability *>(argument);
            *capability = {};
            qstrncpy(reinterpret_cast<char *>(capability->card), node->card,
                     sizeof capability->card);
            // A UVC metadata node shares the whole device's capabilities.
            capability->capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_DEVICE_CAPS;
            capability->device_caps = node->deviceCaps;
            return 0;
        }
        auto *value = static_cast<v4l2_control *>(argument); // every control request starts so
        auto c = std::find_if(node->controls.begin(), node->controls.end(),
                              [value](auto &c) { return c.id == value->id; });
        if (c == node->controls.end())
            return fail(EINVAL);
        const auto listed = [&](qint32 index) {
            return index >= 0 && (c->menu >> index & 1);
        };
        switch (request) {
        case VIDIOC_QUERYCTRL:
            *static_cast<v4l2_queryctrl *>(argument) = {
                c->id, c->type, {}, c->minimum, c->maximum, c->step, c->defaultValue, c->flags, {}};
            return 0;
        case VIDIOC_QUERYMENU:
            return listed(qint32(static_cast<v4l2_querymenu *>(argument)->index)) ? 0
                                                                                  : fail(EINVAL);
        case VIDIOC_G_CTRL:
            value->value = c->value;
            return 0;
        case VIDIOC_S_CTRL: {
            const bool refused =
                (c->flags & Refuses) || (c->type == V4L2_CTRL_TYPE_MENU && !listed(value->value));
            writes << QString::asprintf("%s=%d%s", c->name, value->value,
                                        refused ? " refused" : "");
            if (refused)
                return fail(EINVAL);
            // The kernel's rule: clamp to the range, then round to the nearest step.
            const qint32 offset = std::clamp(value->value, c->minimum, c->maximum) - c->minimum;
            c->value = value->value =
                std::min(c->minimum + (offset + c->step / 2) / c->step * c->step, c->maximum);
            return 0;
        }
        }
        return fail(ENOTTY);
    }

private:
    static int fail(int error) { return errno = error, -1; }
    int lastDescriptor = 2;
};

} // namespace

class TestV4l2CameraControls : public QObject
{
    Q_OBJECT

    static void row(const char *name, int id, const char *calls, const char *outcome,
                    quint32 refusing = 0)
    {
        QTest::newRow(name) << id << QString::fromUtf8(calls) << QString::fromUtf8(outcome)
                            << refusing;
    }

private slots:
    void init()
    {
        auto fake = std::make_unique<FakeV4l2Io>();
        io = fake.get();
        backend = std::make_unique<V4l2CameraControls>(std::move(fake));
    }

    void calls_data()
    {
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("calls"); // "value N", "auto on" or "auto off", comma-separated
        QTest::addColumn<QString>("outcome"); // each call's result, the writes, the record
        QTest::addColumn<quint32>("refusing"); // the control whose writes fail

        // A value out of range is refused, as a UVC camera on Windows does; the record keeps
        // what the driver applied, rounded to the step.
        row("pan", Pan, "value 36001, value 4000",
            "01 [pan=4000] -36000..36000/3600 3600(0) auto 0 0(0) default 0");
        row("anti-flicker", PowerLineFrequency, "value 3, value 0",
            "01 [power_line=3 refused, power_line=0] 0..3/1 0(2) auto 0 0(0) default 1 choices "
            "0,1,2");
        row("roll, which the UVC driver does not map", Roll, "value 1, auto on", "00 [] -");
        // Manual first: while automatic, the camera refuses the value.
        row("white balance", WhiteBalance, "value 4603",
            "1 [wb_auto=0, wb=4603] 2800..6500/10 4600(4600) auto 1 0(1) default 4600 auto");
        row("autogain", Gain, "auto on",
            "1 [autogain=1] 0..100/1 10(10) auto 1 1(0) default 20 auto");
        // Leaving automatic writes the last known value back; the device's own mode returns.
        row("exposure", Exposure, "auto off, auto on",
            "11 [exposure_auto=1, exposure=166, exposure_auto=3] 3..2047/1 166(166) auto 1 1(1) "
            "default 250 auto");
        // A refusal changes no record, and the automatic mode the record shows is put back.
        row("exposure refused", Exposure, "value 300",
            "0 [exposure_auto=1, exposure=300 refused, exposure_auto=3] 3..2047/1 166(166) auto "
            "1 1(1) default 250 auto",
            V4L2_CID_EXPOSURE_ABSOLUTE);
    }

    void calls()
    {
        QFETCH(int, id);
        QFETCH(QString, calls);
        QFETCH(quint32, refusing);

        FakeNode &node = io->nodes.emplace_back(FakeNode {"video0", "Cam"});
        for (FakeControl &control : node.controls)
            control.flags |= control.id == refusing ? Refuses : 0;
        QVERIFY(backend->open(QStringLiteral("Cam")));
        QString results;
        for (const QString &call : calls.split(QStringLiteral(", "))) {
            const QString argument = call.section(u' ', 1);
            results += QString::number(call.startsWith(QLatin1String("value"))
                                           ? backend->setValue(id, argument.toInt())
                                           : backend->setAutomatic(id, argument == "on"));
        }
        QTEST(QStringLiteral("%1 [%2] %3").arg(results, io->writes.join(", "), line(id)),
              "outcome");
        QCOMPARE(io->descriptors.size(), 1); // a refusal is no reason to let go of the camera
    }

    // Past a metadata node of the same name, letter case aside; the controls in the panel's order.
    void opening()
    {
        io->nodes.push_back({"video0", "Cam", V4L2_CAP_META_CAPTURE});
        io->nodes.push_back({"video1", "Cam"});
        QVERIFY(backend->open(QStringLiteral("CAM")));
        QStringList listed;
        for (const NativeControl &control : backend->controls())
            listed << control.name;
        QCOMPARE(listed.join(' '), "亮度 白平衡 防闪烁 增益 曝光 水平转动 垂直转动 光圈");
    }

private:
    // "min..max/step value(initial) auto offered now(initial) default N [auto] [choices a,b]".
    QString line(int id) const
    {
        const QList<NativeControl> controls = backend->controls();
        const NativeControl *c = findControl(controls, id);
        QString line = c
            ? QString::asprintf("%d..%d/%d %d(%d) auto %d %d(%d) default %d%s", c->minimum,
                                c->maximum, c->step, c->value, c->initialValue,
                                c->supportsAutomatic, c->automatic, c->initialAutomatic,
                                c->defaultValue, c->defaultAutomatic ? " auto" : "")
            : QStringLiteral("-");
        for (qint32 choice : c ? c->choices : QList<qint32>())
            line += (choice == c->choices.first() ? " choices " : ",") + QString::number(choice);
        return line;
    }

    FakeV4l2Io *io = nullptr; // owned by the backend
    std::unique_ptr<V4l2CameraControls> backend;
};

QTEST_GUILESS_MAIN(TestV4l2CameraControls)
#include "tst_v4l2cameracontrols.moc"

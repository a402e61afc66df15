// The V4L2 backend over a simulated /dev: the test double of V4l2DeviceIo answers the backend's
// system calls as the kernel and a UVC camera do, errno included.
#include "controls/v4l2cameracontrols.h"
#include "controls/v4l2deviceio.h"

#include <QMap>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>

#include <linux/videodev2.h>

namespace {
// Not V4L2's own flags: the fake's ways of failing G_CTRL and S_CTRL.
constexpr quint32 Unreadable = 1u << 30, Refuses = 1u << 31;

struct FakeControl
{
    const char *name; // as the log shows it
    quint32 id;
    qint32 minimum, maximum, step, value, defaultValue;
    quint32 type = V4L2_CTRL_TYPE_INTEGER, menu = 0, flags = 0; // menu bit n: index n offered
};

// The controls and companions of a UVC webcam with a motorised head.
const QList<FakeControl> uvcControls = {
    {"brightness", V4L2_CID_BRIGHTNESS, -64, 64, 1, 0, 0},
    {"wb", V4L2_CID_WHITE_BALANCE_TEMPERATURE, 2800, 6500, 10, 4600, 4600},
    {"wb_auto", V4L2_CID_AUTO_WHITE_BALANCE, 0, 1, 1, 1, 1, V4L2_CTRL_TYPE_BOOLEAN},
    // Off, 50 Hz and 60 Hz listed; automatic is not.
    {"power_line", V4L2_CID_POWER_LINE_FREQUENCY, 0, 3, 1, 2, 1, V4L2_CTRL_TYPE_MENU, 0b0111},
    {"gain", V4L2_CID_GAIN, 0, 100, 1, 10, 20},
    {"exposure", V4L2_CID_EXPOSURE_ABSOLUTE, 3, 2047, 1, 166, 250},
    // Offers manual (1) and aperture priority (3), and is in aperture priority.
    {"exposure_auto", V4L2_CID_EXPOSURE_AUTO, 0, 3, 1, 3, 3, V4L2_CTRL_TYPE_MENU, 0b1010},
    {"pan", V4L2_CID_PAN_ABSOLUTE, -36000, 36000, 3600, 0, 0},
    {"tilt", V4L2_CID_TILT_ABSOLUTE, -36000, 36000, 3600, 3600, 0},
    {"iris", V4L2_CID_IRIS_ABSOLUTE, 10, 160, 1, 40, 20},
};

struct FakeNode
{
    QByteArray name, card; // "video0", the name the camera reports
    QList<FakeControl> controls = uvcControls;
    quint32 deviceCaps = V4L2_CAP_VIDEO_CAPTURE;
    bool gone = false; // unplugged: absent from /dev, open descriptors fail

    FakeControl *find(quint32 id)
    {
        auto it =
            std::find_if(controls.begin(), controls.end(), [=](auto &c) { return c.id == id; });
        return it == controls.end() ? nullptr : &*it;
    }
};

class FakeV4l2Io final : public V4l2DeviceIo
{
public:
    std::deque<FakeNode> nodes; // a deque keeps references to earlier nodes valid
    QMap<int, FakeNode *> descriptors;
    QStringList writes; // "gain=5", with " refused" when it failed

    QByteArray bound() const { return descriptors.size() == 1 ? descriptors.first()->name : ""; }

    bool readDirectory(const QByteArray &, QList<QByteArray> *names) override
    {
        *names = {".", "media0", "video", "video-1"}; // to be passed over
        for (const FakeNode &node : nodes)
            if (!node.gone)
                names->append(node.name);
        return true;
    }
    int open(const QByteArray &path, int) override
    {
        for (FakeNode &node : nodes)
            if ("/dev/" + node.name == path && !node.gone)
                return descriptors.insert(++lastDescriptor, &node).key();
        return -1;
    }
    int close(int fd) override { return descriptors.remove(fd) == 1 ? 0 : -1; }

    int ioctl(int fd, unsigned long request, void *argument) override
    {
        FakeNode *node = descriptors.value(fd);
        if (!node || node->gone)
            return fail(node ? ENODEV : EBADF);
        if (request == VIDIOC_QUERYCAP) {
            auto *capability = static_cast<v4l2_capability *>(argument);
            *capability = {};
            // Like the kernel: NUL-terminated only when shorter than the field.
            memcpy(capability->card, node->card.constData(),
                   std::min<size_t>(node->card.size() + 1, sizeof capability->card));
            // A UVC metadata node shares the whole device's capabilities.
            capability->capabilities =
                V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE | V4L2_CAP_DEVICE_CAPS;
            capability->device_caps = node->deviceCaps;
            return 0;
        }
        auto *value = static_cast<v4l2_control *>(argument);
        FakeControl *c = node->find(value->id); // every control request starts with the id
        if (!c)
            return fail(EINVAL);
        const auto listed = [c](quint32 index) {
            return index < 32 && (c->menu >> index & 1);
        };
        switch (request) {
        case VIDIOC_QUERYCTRL:
            *static_cast<v4l2_queryctrl *>(argument) = {
                c->id, c->type, {}, c->minimum, c->maximum, c->step, c->defaultValue, c->flags, {}};
            return 0;
        case VIDIOC_QUERYMENU:
            return listed(static_cast<v4l2_querymenu *>(argument)->index) ? 0 : fail(EINVAL);
        case VIDIOC_G_CTRL:
            value->value = c->value;
            return c->flags & Unreadable ? fail(EINVAL) : 0;
        case VIDIOC_S_CTRL: {
            const bool refused = c->flags & (Refuses | V4L2_CTRL_FLAG_DISABLED)
                || (c->type == V4L2_CTRL_TYPE_MENU && !listed(quint32(value->value)));
            writes << QString::asprintf("%s=%d%s", c->name, value->value,
                                        refused ? " refused" : "");
            if (refused)
                return fail(EINVAL);
            // The kernel's rule: clamp to the range, then round to the nearest step.
            const qint32 step = std::max(c->step, 1);
            const qint32 offset = std::clamp(value->value, c->minimum, c->maximum) - c->minimum;
            c->value = value->value =
                std::min(c->minimum + (offset + step / 2) / step * step, c->maximum);
            return 0;
        }
        }
        return fail(ENOTTY);
    }

private:
    static int fail(int error) { return errno = error, -1; }
    int lastDescriptor = 2;
};

// "name min..max/step value(initial) auto supported now(initial) default N[a] {choices}".
QString describe(const NativeControl &c)
{
    QString line = QString::asprintf(
        "%s %d..%d/%d %d(%d) auto %d %d(%d) default %d%s", qUtf8Printable(c.name), c.minimum,
        c.maximum, c.step, c.value, c.initialValue, c.supportsAutomatic, c.automatic,
        c.initialAutomatic, c.defaultValue, c.defaultAutomatic ? "a" : "");
    QStringList choices;
    for (qint32 choice : c.choices)
        choices << QString::number(choice);
    return choices.isEmpty() ? line : line + " {" + choices.join(',') + '}';
}
using Tweak = std::function<void(FakeNode &)>;
} // namespace
Q_DECLARE_METATYPE(Tweak)

class TestV4l2CameraControls : public QObject
{
    Q_OBJECT

    static Tweak flag(quint32 id, quint32 flags)
    {
        return Tweak([=](FakeNode &node) { node.find(id)->flags |= flags; });
    }
    // exposure_auto modes: 0 auto, 1 manual, 2 shutter priority, 3 aperture priority.
    static Tweak exposureModes(quint32 offered, qint32 mode)
    {
        return [=](FakeNode &node) {
            node.find(V4L2_CID_EXPOSURE_AUTO)->menu = offered;
            node.find(V4L2_CID_EXPOSURE_AUTO)->value = mode;
        };
    }
    static void row(const char *name, Tweak tweak, int id, const char *calls, QString outcome)
    {
        QTest::newRow(name) << tweak << id << QString::fromUtf8(calls) << outcome;
    }

private slots:
    void init()
    {
        auto fake = std::make_unique<FakeV4l2Io>();
        io = fake.get();
        backend = std::make_unique<V4l2CameraControls>(std::move(fake));
    }

    void matching_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<int>("bound"); // the N of /dev/videoN, -1 for none
        QTest::addColumn<QString>("error");

        QTest::newRow("non-ASCII case, past a metadata node") << "CAMÉRA INTÉGRÉE" << 1 << "";
        QTest::newRow("trailing space")
            << "Caméra Intégrée " << -1 << "未找到与“Caméra Intégrée ”匹配的 V4L2 设备";
        QTest::newRow("card fills the field") << "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345" << 3 << "";
        QTest::newRow("first of equal names, by number") << "twin" << 4 << "";
        // Stays bound, like the filter on Windows, so the device answers for itself.
        QTest::newRow("no standard controls") << "Bare" << 5 << "摄像头没有公开标准 UVC 控制参数";
    }

    void matching()
    {
        QFETCH(QString, description);
        QFETCH(int, bound);
        QFETCH(QString, error);

        for (const QByteArray node : {"0 Caméra Intégrée", "1 Caméra Intégrée", "10 Twin",
                                      "3 ABCDEFGHIJKLMNOPQRSTUVWXYZ012345", "4 Twin", "5 Bare"}) {
            const qsizetype space = node.indexOf(' ');
            io->nodes.push_back({"video" + node.left(space), node.mid(space + 1)});
        }
        io->nodes[0].deviceCaps = V4L2_CAP_META_CAPTURE;
        io->nodes[5].controls = {
            {"brightness", V4L2_CID_BRIGHTNESS, 0, 1, 1, 0, 0, 0, 0, V4L2_CTRL_FLAG_DISABLED}};

        QCOMPARE(backend->open(description), error.isEmpty());
        QCOMPARE(io->bound(), bound < 0 ? QByteArray() : "video" + QByteArray::number(bound));
        QCOMPARE(backend->lastError(), error);
        QCOMPARE(io->descriptors.size(), qsizetype(bound >= 0)); // the others closed again
        backend->setValue(Brightness, 1);
        QCOMPARE(io->writes.size(), qsizetype(bound >= 0));
    }

    void calls_data()
    {
        QTest::addColumn<Tweak>("tweak");
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("calls"); // "value N", "auto on" or "auto off", comma-separated
        QTest::addColumn<QString>("outcome"); // each call's result, the writes, the record

        const quint32 brightness = V4L2_CID_BRIGHTNESS;
        // Inactive only for now (its automatic companion is on, or another control rules it).
        row("inactive", flag(brightness, V4L2_CTRL_FLAG_INACTIVE), Brightness, "value 5",
            "0 [] -64..64/1 0(0) auto 0 0(0) default 0");
        // Refused like a UVC camera on Windows does, where V4L2 would clamp it.
        row("range, step 0", Tweak([](FakeNode &node) { node.controls[0].step = 0; }), Brightness,
            "value 65, value 64", "01 [brightness=64] -64..64/1 64(0) auto 0 0(0) default 0");
        row("autogain as a 0..1 integer", Tweak([](FakeNode &node) {
                node.controls.append({"autogain", V4L2_CID_AUTOGAIN, 0, 1, 1, 0, 1});
            }),
            Gain, "auto on", "1 [autogain=1] 0..100/1 10(10) auto 1 1(0) default 20a");
        // Leaving automatic writes the last known value back; the device's own mode returns.
        row("exposure keeps the device's automatic mode", {}, Exposure, "auto off, auto on",
            "11 [exposure_auto=1, exposure=166, exposure_auto=3] 3..2047/1 166(166) auto 1 1(1) "
            "default 250a");
        // Shutter priority leaves exposure time to the user: it is the manual mode to go back to.
        row("shutter priority is manual", exposureModes(0b1110, 2), Exposure, "auto on, value 300",
            "11 [exposure_auto=3, exposure_auto=2, exposure=300] 3..2047/1 300(166) auto 1 0(0) "
            "default 250a");
        // Manual first: while automatic, the camera refuses the value. The record keeps what
        // the driver applied, rounded to the step.
        row("white balance", {}, WhiteBalance, "value 4603",
            "1 [wb_auto=0, wb=4603] 2800..6500/10 4600(4600) auto 1 0(1) default 4600a");
        // A refusal changes no record, and the automatic mode the record shows is put back.
        row("value refused after the manual switch", flag(V4L2_CID_EXPOSURE_ABSOLUTE, Refuses),
            Exposure, "value 300",
            "0 [exposure_auto=1, exposure=300 refused, exposure_auto=3] 3..2047/1 166(166) auto 1 "
            "1(1) default 250a");
        // Pan, tilt and iris on a scale, anti-flicker as the modes it lists, and roll, which the
        // UVC driver does not map.
        row("pan", {}, Pan, "value 4000",
            "1 [pan=4000] -36000..36000/3600 3600(0) auto 0 0(0) "
            "default 0");
        row("tilt", {}, Tilt, "value -3600",
            "1 [tilt=-3600] -36000..36000/3600 -3600(3600) auto 0 0(0) default 0");
        row("iris", {}, Iris, "value 161, value 160",
            "01 [iris=160] 10..160/1 160(40) auto 0 0(0) default 20");
        row("anti-flicker", {}, PowerLineFrequency, "value 3, value 0",
            "01 [power_line=3 refused, power_line=0] 0..3/1 0(2) auto 0 0(0) default 1 {0,1,2}");
        row("roll", {}, Roll, "value 1, auto on", "00 [] -");
    }

    void calls()
    {
        QFETCH(Tweak, tweak);
        QFETCH(int, id);
        QFETCH(QString, calls);

        FakeNode &node = io->nodes.emplace_back(FakeNode {"video0", "Cam"});
        if (tweak)
            tweak(node);
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

    void lifetime()
    {
        io->nodes.push_back({"video0", "Cam A"});
        io->nodes.push_back({"video1", "Cam B", uvcControls.mid(4, 1)}); // gain only
        QVERIFY(backend->open(QStringLiteral("Cam A")));
        QStringList listed;
        for (const NativeControl &control : backend->controls())
            listed << control.name;
        QCOMPARE(listed.join(' '), "亮度 白平衡 防闪烁 增益 曝光 水平转动 垂直转动 光圈");
        QVERIFY(backend->setValue(Gain, 50));
        QVERIFY(backend->open(QStringLiteral("Cam B")) && backend->setValue(Gain, 30));

        // Values are what the device has now, not what an earlier open saw.
        QVERIFY(backend->open(QStringLiteral("Cam A")));
        QCOMPARE(line(Gain), QStringLiteral("0..100/1 50(50) auto 0 0(0) default 20"));

        // Unplugged: every write fails, the records stay as they were, and the node is let go at
        // once so the kernel can free it.
        const QString before = line(Exposure);
        io->nodes.front().gone = true;
        QVERIFY(!backend->setValue(Brightness, 5) && io->descriptors.isEmpty()
                && !backend->setAutomatic(Exposure, false));
        QCOMPARE(line(Exposure), before);
        QCOMPARE(io->writes, QStringList({"gain=50", "gain=30"}));

        io->nodes.back().gone = true;
        QVERIFY(!backend->open(QStringLiteral("Cam A")));
        QCOMPARE(backend->lastError(), QStringLiteral("系统没有返回 V4L2 视频输入设备"));
    }

private:
    QString line(int id) const
    {
        const QList<NativeControl> controls = backend->controls();
        const NativeControl *control = findControl(controls, id);
        return control ? describe(*control).section(u' ', 1) : QStringLiteral("-");
    }

    FakeV4l2Io *io = nullptr; // owned by the backend
    std::unique_ptr<V4l2CameraControls> backend;
};

QTEST_GUILESS_MAIN(TestV4l2CameraControls)
#include "tst_v4l2cameracontrols.moc"

#include "fakev4l2device.h"

#include "controls/v4l2cameracontrols.h"

#include <QTest>

#include <functional>

using Tweak = std::function<void(FakeNode &)>;
Q_DECLARE_METATYPE(Tweak)

namespace {
// Each record on one line, so a failed comparison shows every field.
QStringList describe(const QList<NativeControl> &controls)
{
    QStringList lines;
    for (const NativeControl &c : controls)
        lines.append(QString::asprintf("%s %d..%d/%d %d(%d) auto %d %d(%d)", qUtf8Printable(c.name),
                                       c.minimum, c.maximum, c.step, c.value, c.initialValue,
                                       c.supportsAutomatic, c.automatic, c.initialAutomatic));
    return lines;
}

template<typename Field, typename Value>
Tweak set(quint32 id, Field FakeControl::*field, Value value)
{
    return [=](FakeNode &node) {
        node.find(id)->*field = Field(value);
    };
}
} // namespace

class TestV4l2CameraControls : public QObject
{
    Q_OBJECT

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
        QTest::addColumn<int>("bound"); // the N of /dev/videoN, -1 for no match

        QTest::newRow("exact") << "Integrated Camera" << 1;
        QTest::newRow("other case") << "INTEGRATED camera" << 1;
        QTest::newRow("non-ASCII case") << "CAMÉRA INTÉGRÉE" << 2;
        QTest::newRow("trailing space") << "Integrated Camera " << -1;
        QTest::newRow("card's own trailing space") << "Spaced Cam " << 3;
        QTest::newRow("driver without device_caps") << "legacy cam" << 4;
        QTest::newRow("card fills the field") << "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345" << 5;
        QTest::newRow("first of equal names, by number") << "twin" << 6;
    }

    void matching()
    {
        QFETCH(QString, description);
        QFETCH(int, bound);

        // UVC's metadata node: capture is in the whole device's capabilities, not its own.
        io->add("video0", "Integrated Camera").deviceCaps = V4L2_CAP_META_CAPTURE;
        io->add("video1", "Integrated Camera");
        io->add("video10", "Twin");
        io->add("video2", "Caméra Intégrée");
        io->add("video3", "Spaced Cam ");
        // Before device_caps existed, that field held nothing meaningful.
        FakeNode &legacy = io->add("video4", "Legacy Cam");
        legacy.capabilities = V4L2_CAP_VIDEO_CAPTURE;
        legacy.deviceCaps = 0;
        io->add("video5", "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
        io->add("video6", "Twin");

        QCOMPARE(backend->open(description), bound >= 0);
        QCOMPARE(io->bound(), bound < 0 ? QByteArray() : "video" + QByteArray::number(bound));
        QCOMPARE(backend->lastError(),
                 bound < 0 ? QStringLiteral("未找到与“%1”匹配的 V4L2 设备").arg(description)
                           : QString());
        QCOMPARE(io->descriptors.size(), qsizetype(bound >= 0)); // the others closed again
    }

    void openFailures()
    {
        // Neither a metadata node nor one that cannot be opened is a video input.
        io->add("video0", "Cam").deviceCaps = V4L2_CAP_META_CAPTURE;
        io->add("video1", "Cam").openFails = true;
        QVERIFY(!backend->open(QStringLiteral("Cam")));
        QCOMPARE(backend->lastError(), QStringLiteral("系统没有返回 V4L2 视频输入设备"));

        // Stays bound, like the filter on Windows, so the device answers for itself.
        io->add("video2", "Cam", uvcControls().mid(0, 1)).controls[0].flags =
            V4L2_CTRL_FLAG_DISABLED;
        QVERIFY(!backend->open(QStringLiteral("Cam")));
        QCOMPARE(backend->lastError(), QStringLiteral("摄像头没有公开标准 UVC 控制参数"));
        QVERIFY(backend->controls().isEmpty());
        QVERIFY(!backend->setValue(Brightness, 1));
        QCOMPARE(io->writes, QStringList("brightness=1 refused"));
    }

    void records_data()
    {
        QTest::addColumn<Tweak>("tweak");
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("record"); // empty: not listed
        QTest::addColumn<QString>("autoOn"); // what setAutomatic(id, true) writes; empty: refused

        const quint32 brightness = V4L2_CID_BRIGHTNESS, focusAuto = V4L2_CID_FOCUS_AUTO;
        const QString none;
        const auto autogain = [](quint32 type, qint32 value) {
            return Tweak([=](FakeNode &node) {
                node.controls.append({"autogain", V4L2_CID_AUTOGAIN, 0, 1, 1, value, 0, type});
            });
        };
        const auto exposureModes = [](quint32 offered, qint32 mode) {
            return Tweak([=](FakeNode &node) {
                set(V4L2_CID_EXPOSURE_AUTO, &FakeControl::menu, offered)(node);
                set(V4L2_CID_EXPOSURE_AUTO, &FakeControl::value, mode)(node);
            });
        };
        const QString manualExposure = QStringLiteral("曝光 3..2047/1 166(166) auto 1 0(0)");
        const QString autoExposure = QStringLiteral("曝光 3..2047/1 166(166) auto 1 1(1)");

        QTest::newRow("disabled") << set(brightness, &FakeControl::flags, V4L2_CTRL_FLAG_DISABLED)
                                  << int(Brightness) << none << none;
        QTest::newRow("read-only") << set(brightness, &FakeControl::flags, V4L2_CTRL_FLAG_READ_ONLY)
                                   << int(Brightness) << none << none;
        // Inactive only for now (its automatic companion is on, or another control rules it).
        QTest::newRow("inactive") << set(brightness, &FakeControl::flags, V4L2_CTRL_FLAG_INACTIVE)
                                  << int(Brightness) << "亮度 -64..64/1 0(0) auto 0 0(0)" << none;
        QTest::newRow("unreadable")
            << set(brightness, &FakeControl::unreadable, true) << int(Brightness) << none << none;
        QTest::newRow("step 0") << set(brightness, &FakeControl::step, 0) << int(Brightness)
                                << "亮度 -64..64/1 0(0) auto 0 0(0)" << none;
        QTest::newRow("autogain on") << autogain(V4L2_CTRL_TYPE_BOOLEAN, 1) << int(Gain)
                                     << "增益 0..100/1 10(10) auto 1 1(1)"
                                     << "autogain=1";
        QTest::newRow("autogain as a 0..1 integer")
            << autogain(V4L2_CTRL_TYPE_INTEGER, 0) << int(Gain)
            << "增益 0..100/1 10(10) auto 1 0(0)"
            << "autogain=1";
        QTest::newRow("companion read-only")
            << set(focusAuto, &FakeControl::flags, V4L2_CTRL_FLAG_READ_ONLY) << int(Focus)
            << "对焦 0..250/5 40(40) auto 0 0(0)" << none;

        // exposure_auto modes: 0 auto, 1 manual, 2 shutter priority, 3 aperture priority.
        QTest::newRow("exposure keeps the device's automatic mode")
            << exposureModes(0b1011, 3) << int(Exposure) << autoExposure << "exposure_auto=3";
        QTest::newRow("manual exposure prefers full auto")
            << exposureModes(0b1011, 1) << int(Exposure) << manualExposure << "exposure_auto=0";
        QTest::newRow("manual exposure, aperture priority offered")
            << exposureModes(0b1010, 1) << int(Exposure) << manualExposure << "exposure_auto=3";
        // Shutter priority leaves exposure time to the user.
        QTest::newRow("shutter priority is manual")
            << exposureModes(0b1110, 2) << int(Exposure) << manualExposure << "exposure_auto=3";
        QTest::newRow("no automatic exposure mode")
            << exposureModes(0b0110, 1) << int(Exposure) << "曝光 3..2047/1 166(166) auto 0 0(0)"
            << none;
    }

    void records()
    {
        QFETCH(Tweak, tweak);
        QFETCH(int, id);
        QFETCH(QString, record);
        QFETCH(QString, autoOn);

        QVERIFY(open(tweak));
        const NativeControl before = this->record(id);
        QCOMPARE(before.name.isEmpty() ? QString() : line(id), record);
        QCOMPARE(io->writes, QStringList()); // reading changes nothing on the camera

        QCOMPARE(backend->setAutomatic(id, true), !autoOn.isEmpty());
        QCOMPARE(io->writes, autoOn.isEmpty() ? QStringList() : QStringList(autoOn));
        QCOMPARE(this->record(id).automatic, before.automatic || !autoOn.isEmpty());
        QCOMPARE(this->record(id).initialAutomatic, before.initialAutomatic);
    }

    void changes()
    {
        QVERIFY(open());
        QVERIFY(backend->setValue(Brightness, 64));
        QVERIFY(backend->setValue(WhiteBalance, 4603));
        QVERIFY(backend->setValue(Exposure, 300));
        // Leaving automatic writes the last known value back, in manual mode.
        QVERIFY(backend->setAutomatic(Focus, false));
        QVERIFY(backend->setValue(Focus, 100));
        QVERIFY(backend->setAutomatic(Focus, true));
        QVERIFY(backend->setAutomatic(Focus, false));

        // Manual first: while automatic, the camera refuses the value.
        QCOMPARE(io->writes,
                 QStringList({"brightness=64", "wb_auto=0", "wb=4603", "exposure_auto=1",
                              "exposure=300", "focus_auto=0", "focus=40", "focus_auto=0",
                              "focus=100", "focus_auto=1", "focus_auto=0", "focus=100"}));
        // The record keeps what the driver applied, rounded to the step.
        QCOMPARE(line(Brightness), QStringLiteral("亮度 -64..64/1 64(0) auto 0 0(0)"));
        QCOMPARE(line(WhiteBalance), QStringLiteral("白平衡 2800..6500/10 4600(4600) auto 1 0(1)"));
        QCOMPARE(line(Exposure), QStringLiteral("曝光 3..2047/1 300(166) auto 1 0(1)"));
        QCOMPARE(line(Focus), QStringLiteral("对焦 0..250/5 100(40) auto 1 0(1)"));
    }

    void unrecordedWrites_data()
    {
        QTest::addColumn<Tweak>("tweak");
        QTest::addColumn<int>("id");
        QTest::addColumn<QString>("call"); // "value N", "auto on" or "auto off"
        QTest::addColumn<bool>("result");
        QTest::addColumn<QStringList>("writes");

        const auto refuse = [](quint32 id) {
            return set(id, &FakeControl::refuses, true);
        };
        const Tweak unlisted = set(V4L2_CID_BRIGHTNESS, &FakeControl::unreadable, true);
        QTest::newRow("value refused") << refuse(V4L2_CID_BRIGHTNESS) << int(Brightness)
                                       << "value 5" << false << QStringList("brightness=5 refused");
        // Refused like a UVC camera on Windows does, where V4L2 would clamp it.
        QTest::newRow("value out of range")
            << Tweak() << int(Brightness) << "value 65" << false << QStringList();
        QTest::newRow("value of an inactive control")
            << set(V4L2_CID_BRIGHTNESS, &FakeControl::flags, V4L2_CTRL_FLAG_INACTIVE)
            << int(Brightness) << "value 5" << false << QStringList();
        QTest::newRow("leaving automatic, value grabbed")
            << set(V4L2_CID_EXPOSURE_ABSOLUTE, &FakeControl::flags, V4L2_CTRL_FLAG_GRABBED)
            << int(Exposure) << "auto off" << false
            << QStringList({"exposure_auto=1", "exposure_auto=3"});
        // The automatic mode the record still shows is put back.
        QTest::newRow("value refused after the manual switch")
            << refuse(V4L2_CID_EXPOSURE_ABSOLUTE) << int(Exposure) << "value 300" << false
            << QStringList({"exposure_auto=1", "exposure=300 refused", "exposure_auto=3"});
        QTest::newRow("manual switch refused")
            << refuse(V4L2_CID_EXPOSURE_AUTO) << int(Exposure) << "value 300" << false
            << QStringList("exposure_auto=1 refused");
        QTest::newRow("automatic refused") << refuse(V4L2_CID_HUE_AUTO) << int(Hue) << "auto on"
                                           << false << QStringList("hue_auto=1 refused");
        QTest::newRow("leaving automatic, value refused")
            << refuse(V4L2_CID_FOCUS_ABSOLUTE) << int(Focus) << "auto off" << false
            << QStringList({"focus_auto=0", "focus=40 refused", "focus_auto=1"});
        // Without a record the device still has the last word.
        QTest::newRow("unlisted, value")
            << unlisted << int(Brightness) << "value 7" << true << QStringList("brightness=7");
        QTest::newRow("id past the table")
            << Tweak() << controlCount << "value 1" << false << QStringList();
    }

    void unrecordedWrites()
    {
        QFETCH(Tweak, tweak);
        QFETCH(int, id);
        QFETCH(QString, call);
        QFETCH(bool, result);
        QFETCH(QStringList, writes);

        QVERIFY(open(tweak));
        const QStringList before = describe(backend->controls());
        QCOMPARE(call.startsWith(QLatin1String("value "))
                     ? backend->setValue(id, call.mid(6).toInt())
                     : backend->setAutomatic(id, call == QLatin1String("auto on")),
                 result);
        QCOMPARE(io->writes, writes);
        QCOMPARE(describe(backend->controls()), before);
        QCOMPARE(io->descriptors.size(), 1); // a refusal is no reason to let go of the camera
    }

    void lifetime()
    {
        io->add("video0", "Cam A");
        io->add("video1", "Cam B", uvcControls().mid(2, 2)); // hue and hue_auto
        QVERIFY(backend->open(QStringLiteral("Cam A")));
        QCOMPARE(describe(backend->controls()),
                 QStringList({
                     "亮度 -64..64/1 0(0) auto 0 0(0)",
                     "对比度 0..64/1 32(32) auto 0 0(0)",
                     "色相 -40..40/1 0(0) auto 1 0(0)",
                     "饱和度 0..128/1 64(64) auto 0 0(0)",
                     "锐度 0..6/1 3(3) auto 0 0(0)",
                     "Gamma 72..500/1 100(100) auto 0 0(0)",
                     "白平衡 2800..6500/10 4600(4600) auto 1 1(1)",
                     "背光补偿 0..2/1 1(1) auto 0 0(0)",
                     "增益 0..100/1 10(10) auto 0 0(0)",
                     "变焦 100..500/1 100(100) auto 0 0(0)",
                     "曝光 3..2047/1 166(166) auto 1 1(1)",
                     "对焦 0..250/5 40(40) auto 1 1(1)",
                 }));
        QVERIFY(backend->setValue(Gain, 50));

        QVERIFY(backend->open(QStringLiteral("Cam B")));
        QCOMPARE(describe(backend->controls()), QStringList("色相 -40..40/1 0(0) auto 1 0(0)"));
        QVERIFY(backend->setValue(Hue, 10));
        QCOMPARE(io->writes, QStringList({"gain=50", "hue_auto=0", "hue=10"}));

        // A failed open leaves nothing bound and nothing to ask.
        QVERIFY(!backend->open(QStringLiteral("Gone")));
        QVERIFY(backend->controls().isEmpty());
        QVERIFY(io->descriptors.isEmpty());
        QVERIFY(!backend->setValue(Brightness, 1));
        QCOMPARE(io->writes.size(), 3);

        // Values are what the device has now, not what an earlier open saw.
        QVERIFY(backend->open(QStringLiteral("Cam A")));
        QCOMPARE(line(Gain), QStringLiteral("增益 0..100/1 50(50) auto 0 0(0)"));

        // Unplugged: every write fails and the records stay as they were.
        const QStringList before = describe(backend->controls());
        io->nodes.front().gone = true;
        QVERIFY(!backend->setValue(Brightness, 5));
        QVERIFY(io->descriptors.isEmpty()); // let go at once, so the kernel can free the node
        QVERIFY(!backend->setAutomatic(Focus, false));
        QCOMPARE(describe(backend->controls()), before);
        io->nodes.front().gone = false;
        QVERIFY(backend->open(QStringLiteral("Cam A")));
    }

private:
    NativeControl record(int id) const
    {
        const QList<NativeControl> controls = backend->controls();
        const NativeControl *control = findControl(controls, id);
        return control ? *control : NativeControl();
    }
    QString line(int id) const { return describe({record(id)}).first(); }
    bool open(const Tweak &tweak = {})
    {
        FakeNode &node = io->add("video0", "Cam");
        if (tweak)
            tweak(node);
        return backend->open(QStringLiteral("Cam"));
    }

    FakeV4l2Io *io = nullptr; // owned by the backend
    std::unique_ptr<V4l2CameraControls> backend;
};

QTEST_GUILESS_MAIN(TestV4l2CameraControls)
#include "tst_v4l2cameracontrols.moc"

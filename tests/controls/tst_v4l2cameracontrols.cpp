#include "fakev4l2device.h"

#include "controls/v4l2cameracontrols.h"

#include <QTest>

#include <climits>
#include <functional>

#include <fcntl.h>

using Tweak = std::function<void(FakeNode &)>;
using Setup = std::function<void(FakeV4l2Io &)>;
Q_DECLARE_METATYPE(Tweak)
Q_DECLARE_METATYPE(Setup)

namespace {
// The whole record on one line, so a comparison failure shows every field.
QString describe(const NativeControl &control)
{
    return QStringLiteral("%1 %2 %3..%4/%5 %6(%7) auto %8 %9(%10)")
        .arg(control.id)
        .arg(control.name)
        .arg(control.minimum)
        .arg(control.maximum)
        .arg(control.step)
        .arg(control.value)
        .arg(control.initialValue)
        .arg(int(control.supportsAutomatic))
        .arg(int(control.automatic))
        .arg(int(control.initialAutomatic));
}

QStringList describe(const QList<NativeControl> &controls)
{
    QStringList lines;
    for (const NativeControl &control : controls)
        lines.append(describe(control));
    return lines;
}

QList<int> ids(const QList<NativeControl> &controls)
{
    QList<int> list;
    for (const NativeControl &control : controls)
        list.append(control.id);
    return list;
}

NativeControl find(const QList<NativeControl> &controls, int id)
{
    const NativeControl *control = findControl(controls, id);
    NativeControl missing;
    missing.id = -1;
    return control ? *control : missing;
}

// What vivid's webcam offers of the twelve, plus controls outside them.
FakeNode &addSmallCamera(FakeV4l2Io &io, const QByteArray &name, const QByteArray &card)
{
    FakeNode &node = io.addCaptureNode(name, card);
    const quint32 integer = V4L2_CTRL_TYPE_INTEGER;
    const quint32 boolean = V4L2_CTRL_TYPE_BOOLEAN;
    node.add(V4L2_CID_BRIGHTNESS, integer, 0, 255, 1, 128);
    node.add(V4L2_CID_CONTRAST, integer, 0, 255, 1, 128);
    node.add(V4L2_CID_SATURATION, integer, 0, 255, 1, 128);
    node.add(V4L2_CID_HUE, integer, -128, 128, 1, 0);
    node.add(V4L2_CID_AUDIO_VOLUME, integer, 0, 255, 1, 200);
    node.add(V4L2_CID_AUTOGAIN, boolean, 0, 1, 1, 1);
    node.add(V4L2_CID_GAIN, integer, 0, 255, 1, 100).lockedBy = V4L2_CID_AUTOGAIN;
    return node;
}

QStringList on(const QString &node, const QStringList &calls)
{
    QStringList lines;
    for (const QString &call : calls)
        lines.append(node + QLatin1Char(' ') + call);
    return lines;
}

const QString noDeviceText = QStringLiteral("系统没有返回 V4L2 视频输入设备");
const QString noControlsText = QStringLiteral("摄像头没有公开标准 UVC 控制参数");
} // namespace

class TestV4l2CameraControls : public QObject
{
    Q_OBJECT

private slots:
    void init();

    // Choosing the device
    void matching_data();
    void matching();
    void probesVideoNodesInNumericOrder();
    void failures_data();
    void failures();

    // Reading the controls
    void readsEveryControlOfAUvcCamera();
    void controlShapes_data();
    void controlShapes();
    void automaticCompanions_data();
    void automaticCompanions();
    void deviceWithoutCameraControls();

    // Changing them
    void setValueSwitchesToManualFirst();
    void setValueKeepsWhatTheDriverApplied();
    void setAutomatic();
    void refusals_data();
    void refusals();
    void idsOutsideTheTable();
    void idTheDeviceDoesNotList();

    // Device lifetime
    void reopenReplacesControls();
    void failedReopenEmptiesList();
    void vanishedDevice();

private:
    std::unique_ptr<FakeV4l2Io> fake;
    FakeV4l2Io *io = nullptr;
    std::unique_ptr<V4l2CameraControls> backend;
};

void TestV4l2CameraControls::init()
{
    backend.reset();
    fake = std::make_unique<FakeV4l2Io>();
    io = fake.get();
    backend = std::make_unique<V4l2CameraControls>(fake->borrow());
}

void TestV4l2CameraControls::matching_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QByteArray>("bound"); // empty: no match

    QTest::newRow("exact") << QStringLiteral("Integrated Camera") << QByteArray("video1");
    QTest::newRow("other case") << QStringLiteral("INTEGRATED camera") << QByteArray("video1");
    QTest::newRow("non-ASCII case") << QStringLiteral("CAMÉRA INTÉGRÉE") << QByteArray("video4");
    QTest::newRow("trailing space") << QStringLiteral("Integrated Camera ") << QByteArray();
    QTest::newRow("leading space") << QStringLiteral(" Integrated Camera") << QByteArray();
    QTest::newRow("prefix") << QStringLiteral("Integrated") << QByteArray();
    QTest::newRow("card with a trailing space") << QStringLiteral("Spaced Cam") << QByteArray();
    QTest::newRow("card with a trailing space, exact")
        << QStringLiteral("Spaced Cam ") << QByteArray("video7");
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("metadata node only") << QStringLiteral("Metadata Only") << QByteArray();
    QTest::newRow("driver without device_caps")
        << QStringLiteral("legacy cam") << QByteArray("video5");
    QTest::newRow("card fills the field")
        << QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ012345") << QByteArray("video6");
}

void TestV4l2CameraControls::matching()
{
    QFETCH(QString, description);
    QFETCH(QByteArray, bound);

    io->addUvcCamera("video1", "Integrated Camera");
    io->addMetadataNode("video2", "Integrated Camera");
    io->addMetadataNode("video3", "Metadata Only");
    io->addUvcCamera("video4", "Caméra Intégrée");
    // Before device_caps existed; what the field holds then means nothing.
    FakeNode &legacy = io->addUvcCamera("video5", "Legacy Cam");
    legacy.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    legacy.deviceCaps = V4L2_CAP_META_CAPTURE;
    io->addUvcCamera("video6", "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
    io->addUvcCamera("video7", "Spaced Cam ");

    QCOMPARE(backend->open(description), !bound.isEmpty());
    QCOMPARE(io->boundNode(), bound);
    QCOMPARE(io->openDescriptors(), bound.isEmpty() ? 0 : 1);
    for (int flags : io->openFlags)
        QCOMPARE(flags, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (bound.isEmpty()) {
        QCOMPARE(backend->lastError(),
                 QStringLiteral("未找到与“%1”匹配的 V4L2 设备").arg(description));
        QVERIFY(backend->controls().isEmpty());
    } else {
        QCOMPARE(backend->lastError(), QString());
        QCOMPARE(backend->controls().size(), controlCount);
    }
}

void TestV4l2CameraControls::probesVideoNodesInNumericOrder()
{
    io->otherEntries +=
        QList<QByteArray>({"video", "videoX", "video-1", "video+1", "video1a", "video4294967296"});
    addSmallCamera(*io, "video10", "Twin");
    addSmallCamera(*io, "video2", "Twin");
    io->addMetadataNode("video0", "Twin");
    io->addUvcCamera("video1", "Other");
    io->addUvcCamera("video11", "Twin");

    QVERIFY(!backend->open(QStringLiteral("Nobody")));
    QCOMPARE(
        io->calls(QStringLiteral("open ")),
        QStringList({"/dev/video0", "/dev/video1", "/dev/video2", "/dev/video10", "/dev/video11"}));
    QCOMPARE(io->openDescriptors(), 0);

    // The first of the same names wins, and nothing after it is probed.
    io->log.clear();
    QVERIFY(backend->open(QStringLiteral("twin")));
    QCOMPARE(io->boundNode(), QByteArray("video2"));
    QCOMPARE(io->calls(QStringLiteral("open ")),
             QStringList({"/dev/video0", "/dev/video1", "/dev/video2"}));
}

void TestV4l2CameraControls::failures_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("error");

    QTest::newRow("/dev unreadable")
        << Setup([](FakeV4l2Io &io) { io.readDirectoryError = EACCES; })
        << QStringLiteral("无法打开 V4L2 视频设备目录");
    QTest::newRow("no video nodes") << Setup([](FakeV4l2Io &) {}) << noDeviceText;
    QTest::newRow("only metadata nodes") << Setup([](FakeV4l2Io &io) {
        io.addMetadataNode("video0", "Cam");
        io.addMetadataNode("video1", "Cam");
    }) << noDeviceText;
    QTest::newRow("nodes that cannot be opened")
        << Setup([](FakeV4l2Io &io) { io.addUvcCamera("video0", "Cam").openError = EACCES; })
        << noDeviceText;
    QTest::newRow("no name matches")
        << Setup([](FakeV4l2Io &io) { io.addUvcCamera("video0", "Other"); })
        << QStringLiteral("未找到与“Cam”匹配的 V4L2 设备");
    QTest::newRow("none of the twelve controls") << Setup([](FakeV4l2Io &io) {
        for (FakeControl &control : io.addUvcCamera("video0", "Cam").controls)
            control.flags |= V4L2_CTRL_FLAG_DISABLED;
    }) << noControlsText;
}

void TestV4l2CameraControls::failures()
{
    QFETCH(Setup, setup);
    QFETCH(QString, error);

    setup(*io);
    QVERIFY(!backend->open(QStringLiteral("Cam")));
    QCOMPARE(backend->lastError(), error);
    QVERIFY(backend->controls().isEmpty());
}

void TestV4l2CameraControls::readsEveryControlOfAUvcCamera()
{
    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));
    QCOMPARE(describe(backend->controls()),
             QStringList({
                 "0 亮度 -64..64/1 0(0) auto 0 0(0)",
                 "1 对比度 0..64/1 32(32) auto 0 0(0)",
                 "2 色相 -40..40/1 0(0) auto 1 0(0)",
                 "3 饱和度 0..128/1 64(64) auto 0 0(0)",
                 "4 锐度 0..6/1 3(3) auto 0 0(0)",
                 "5 Gamma 72..500/1 100(100) auto 0 0(0)",
                 "6 白平衡 2800..6500/10 4600(4600) auto 1 1(1)",
                 "7 背光补偿 0..2/1 1(1) auto 0 0(0)",
                 "8 增益 0..100/1 10(10) auto 0 0(0)",
                 "9 变焦 100..500/1 100(100) auto 0 0(0)",
                 "10 曝光 3..2047/1 166(166) auto 1 1(1)",
                 "11 对焦 0..250/5 40(40) auto 1 1(1)",
             }));
    // Reading the controls changes nothing on the camera.
    QCOMPARE(io->writes(), QStringList());
}

void TestV4l2CameraControls::controlShapes_data()
{
    QTest::addColumn<Tweak>("tweak"); // applied to brightness
    QTest::addColumn<bool>("listed");
    QTest::addColumn<int>("step");

    const auto brightness = [](std::function<void(FakeControl &)> change) {
        return Tweak([change](FakeNode &node) { change(node.control(V4L2_CID_BRIGHTNESS)); });
    };
    QTest::newRow("absent") << Tweak([](FakeNode &node) { node.remove(V4L2_CID_BRIGHTNESS); })
                            << false << 0;
    QTest::newRow("disabled") << brightness([](FakeControl &c) {
        c.flags = V4L2_CTRL_FLAG_DISABLED;
    }) << false << 0;
    QTest::newRow("maximum below minimum")
        << brightness([](FakeControl &c) { c.maximum = -65; }) << false << 0;
    QTest::newRow("value unreadable")
        << brightness([](FakeControl &c) { c.getError = EIO; }) << false << 0;
    QTest::newRow("write-only") << brightness([](FakeControl &c) {
        c.flags = V4L2_CTRL_FLAG_WRITE_ONLY;
    }) << false << 0;
    QTest::newRow("64-bit") << brightness([](FakeControl &c) { c.type = V4L2_CTRL_TYPE_INTEGER64; })
                            << false << 0;
    QTest::newRow("button") << brightness([](FakeControl &c) { c.type = V4L2_CTRL_TYPE_BUTTON; })
                            << false << 0;
    QTest::newRow("single value") << brightness([](FakeControl &c) {
        c.minimum = c.maximum = c.value = 5;
    }) << true << 1;
    QTest::newRow("step 0") << brightness([](FakeControl &c) { c.step = 0; }) << true << 1;
    QTest::newRow("negative step") << brightness([](FakeControl &c) { c.step = -3; }) << true << 1;
    QTest::newRow("step 4") << brightness([](FakeControl &c) { c.step = 4; }) << true << 4;
    QTest::newRow("boolean") << brightness([](FakeControl &c) {
        c.type = V4L2_CTRL_TYPE_BOOLEAN;
        c.minimum = 0;
        c.maximum = 1;
    }) << true << 1;
    QTest::newRow("read-only") << brightness([](FakeControl &c) {
        c.flags = V4L2_CTRL_FLAG_READ_ONLY;
    }) << true << 1;
    QTest::newRow("inactive") << brightness([](FakeControl &c) {
        c.flags = V4L2_CTRL_FLAG_INACTIVE;
    }) << true << 1;
    QTest::newRow("grabbed while streaming")
        << brightness([](FakeControl &c) { c.flags = V4L2_CTRL_FLAG_GRABBED; }) << true << 1;
}

void TestV4l2CameraControls::controlShapes()
{
    QFETCH(Tweak, tweak);
    QFETCH(bool, listed);
    QFETCH(int, step);

    FakeNode &node = io->addUvcCamera("video0", "Cam");
    tweak(node);
    QVERIFY(backend->open(QStringLiteral("Cam")));
    const QList<NativeControl> controls = backend->controls();
    QCOMPARE(controls.size(), controlCount - (listed ? 0 : 1));
    if (listed) {
        const NativeControl control = find(controls, Brightness);
        const FakeControl &device = node.control(V4L2_CID_BRIGHTNESS);
        QCOMPARE(control.step, step);
        QCOMPARE(control.value, device.value);
        QCOMPARE(control.minimum, device.minimum);
        QCOMPARE(control.maximum, device.maximum);
    }
}

void TestV4l2CameraControls::automaticCompanions_data()
{
    QTest::addColumn<Tweak>("tweak");
    QTest::addColumn<int>("id");
    QTest::addColumn<bool>("supports");
    QTest::addColumn<bool>("automatic");
    QTest::addColumn<QString>("switchOn"); // what setAutomatic(id, true) writes; empty: refused

    const Tweak none = [](FakeNode &) {
    };
    const auto exposureMenu = [](QList<qint32> items, qint32 current) {
        return Tweak([items, current](FakeNode &node) {
            node.control(V4L2_CID_EXPOSURE_AUTO).menuItems = items;
            node.control(V4L2_CID_EXPOSURE_AUTO).value = current;
        });
    };
    const auto focusAuto = [](std::function<void(FakeControl &)> change) {
        return Tweak([change](FakeNode &node) { change(node.control(V4L2_CID_FOCUS_AUTO)); });
    };

    QTest::newRow("white balance, on")
        << none << int(WhiteBalance) << true << true << QStringLiteral("wb_auto=1");
    QTest::newRow("hue, off") << none << int(Hue) << true << false << QStringLiteral("hue_auto=1");
    QTest::newRow("brightness has none") << none << int(Brightness) << false << false << QString();
    QTest::newRow("gain with autogain") << Tweak([](FakeNode &node) {
        node.add(V4L2_CID_AUTOGAIN, V4L2_CTRL_TYPE_BOOLEAN, 0, 1, 1, 1);
    }) << int(Gain) << true << true << QStringLiteral("autogain=1");
    QTest::newRow("autogain as a 0..1 integer") << Tweak([](FakeNode &node) {
        node.add(V4L2_CID_AUTOGAIN, V4L2_CTRL_TYPE_INTEGER, 0, 1, 1, 0);
    }) << int(Gain) << true << false << QStringLiteral("autogain=1");
    QTest::newRow("companion absent")
        << Tweak([](FakeNode &node) { node.remove(V4L2_CID_FOCUS_AUTO); }) << int(Focus) << false
        << false << QString();
    QTest::newRow("companion disabled")
        << focusAuto([](FakeControl &c) { c.flags = V4L2_CTRL_FLAG_DISABLED; }) << int(Focus)
        << false << false << QString();
    QTest::newRow("companion read-only")
        << focusAuto([](FakeControl &c) { c.flags = V4L2_CTRL_FLAG_READ_ONLY; }) << int(Focus)
        << false << false << QString();
    QTest::newRow("companion unreadable") << focusAuto([](FakeControl &c) { c.getError = EIO; })
                                          << int(Focus) << false << false << QString();

    QTest::newRow("exposure, aperture priority on")
        << none << int(Exposure) << true << true << QStringLiteral("exposure_auto=3");
    QTest::newRow("exposure manual, full auto offered")
        << exposureMenu({0, 1, 2, 3}, V4L2_EXPOSURE_MANUAL) << int(Exposure) << true << false
        << QStringLiteral("exposure_auto=0");
    QTest::newRow("exposure manual, aperture priority offered")
        << exposureMenu({1, 3}, V4L2_EXPOSURE_MANUAL) << int(Exposure) << true << false
        << QStringLiteral("exposure_auto=3");
    QTest::newRow("exposure in full auto")
        << exposureMenu({0, 1}, V4L2_EXPOSURE_AUTO) << int(Exposure) << true << true
        << QStringLiteral("exposure_auto=0");
    QTest::newRow("exposure keeps the device's automatic mode")
        << exposureMenu({0, 1, 3}, V4L2_EXPOSURE_APERTURE_PRIORITY) << int(Exposure) << true << true
        << QStringLiteral("exposure_auto=3");
    QTest::newRow("exposure in shutter priority is manual")
        << exposureMenu({1, 2, 3}, V4L2_EXPOSURE_SHUTTER_PRIORITY) << int(Exposure) << true << false
        << QStringLiteral("exposure_auto=3");
    QTest::newRow("exposure without an automatic mode")
        << exposureMenu({1, 2}, V4L2_EXPOSURE_MANUAL) << int(Exposure) << false << false
        << QString();
    QTest::newRow("exposure without manual")
        << exposureMenu({0}, V4L2_EXPOSURE_AUTO) << int(Exposure) << false << false << QString();
}

void TestV4l2CameraControls::automaticCompanions()
{
    QFETCH(Tweak, tweak);
    QFETCH(int, id);
    QFETCH(bool, supports);
    QFETCH(bool, automatic);
    QFETCH(QString, switchOn);

    tweak(io->addUvcCamera("video0", "Cam"));
    QVERIFY(backend->open(QStringLiteral("Cam")));
    NativeControl control = find(backend->controls(), id);
    QCOMPARE(control.id, id);
    QCOMPARE(control.supportsAutomatic, supports);
    QCOMPARE(control.automatic, automatic);
    QCOMPARE(control.initialAutomatic, automatic);

    QCOMPARE(backend->setAutomatic(id, true), !switchOn.isEmpty());
    QCOMPARE(io->writes(), switchOn.isEmpty() ? QStringList() : QStringList("video0 " + switchOn));
    control = find(backend->controls(), id);
    QCOMPARE(control.automatic, automatic || !switchOn.isEmpty());
    QCOMPARE(control.initialAutomatic, automatic);
}

void TestV4l2CameraControls::deviceWithoutCameraControls()
{
    FakeNode &node = io->addCaptureNode("video0", "Capture Card");
    node.add(V4L2_CID_AUDIO_VOLUME, V4L2_CTRL_TYPE_INTEGER, 0, 100, 1, 50);
    QVERIFY(!backend->open(QStringLiteral("Capture Card")));
    QCOMPARE(backend->lastError(), noControlsText);
    QVERIFY(backend->controls().isEmpty());

    // Still bound, so the device answers for itself.
    QCOMPARE(io->boundNode(), QByteArray("video0"));
    QVERIFY(!backend->setValue(Brightness, 1));
    QVERIFY(!backend->setAutomatic(Brightness, false));
    QCOMPARE(io->writes(), QStringList("video0 brightness=1 -> EINVAL"));
}

void TestV4l2CameraControls::setValueSwitchesToManualFirst()
{
    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));

    QVERIFY(backend->setValue(Exposure, 300));
    QCOMPARE(io->writes(), on("video0", {"exposure_auto=1", "exposure=300"}));
    QCOMPARE(describe(find(backend->controls(), Exposure)),
             QStringLiteral("10 曝光 3..2047/1 300(166) auto 1 0(1)"));

    io->log.clear();
    QVERIFY(backend->setValue(Brightness, -10));
    QCOMPARE(io->writes(), on("video0", {"brightness=-10"}));
    QCOMPARE(find(backend->controls(), Brightness).value, -10);
}

void TestV4l2CameraControls::setValueKeepsWhatTheDriverApplied()
{
    FakeNode &node = io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));

    // V4L2 clamps to the range and rounds to the step instead of refusing.
    QVERIFY(backend->setValue(Brightness, 100));
    QCOMPARE(find(backend->controls(), Brightness).value, 64);
    QVERIFY(backend->setValue(WhiteBalance, 4603));
    QCOMPARE(find(backend->controls(), WhiteBalance).value, 4600);
    QCOMPARE(node.control(V4L2_CID_WHITE_BALANCE_TEMPERATURE).value, 4600);
}

void TestV4l2CameraControls::setAutomatic()
{
    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));

    // Leaving automatic writes the last known value back, in manual mode.
    QVERIFY(backend->setAutomatic(Focus, false));
    QVERIFY(backend->setValue(Focus, 100));
    QVERIFY(backend->setAutomatic(Focus, true));
    QCOMPARE(find(backend->controls(), Focus).value, 100);
    QVERIFY(backend->setAutomatic(Focus, false));
    QCOMPARE(io->writes(),
             on("video0",
                {"focus_auto=0", "focus=40", "focus_auto=0", "focus=100", "focus_auto=1",
                 "focus_auto=0", "focus=100"}));
    QCOMPARE(describe(find(backend->controls(), Focus)),
             QStringLiteral("11 对焦 0..250/5 100(40) auto 1 0(1)"));

    // Without a companion there is no automatic mode to enter; leaving it is a plain write.
    io->log.clear();
    QVERIFY(!backend->setAutomatic(Brightness, true));
    QCOMPARE(io->writes(), QStringList());
    QVERIFY(backend->setAutomatic(Brightness, false));
    QCOMPARE(io->writes(), on("video0", {"brightness=0"}));
}

void TestV4l2CameraControls::refusals_data()
{
    QTest::addColumn<Tweak>("tweak");
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("action"); // a value to set, or -1 / -2 for automatic on / off
    QTest::addColumn<QStringList>("writes");

    const auto refuse = [](quint32 control, int error) {
        return Tweak([=](FakeNode &node) { node.control(control).setError = error; });
    };
    QTest::newRow("value, EINVAL") << refuse(V4L2_CID_BRIGHTNESS, EINVAL) << int(Brightness) << 5
                                   << QStringList("brightness=5 -> EINVAL");
    QTest::newRow("value, ERANGE") << refuse(V4L2_CID_BRIGHTNESS, ERANGE) << int(Brightness) << 5
                                   << QStringList("brightness=5 -> ERANGE");
    QTest::newRow("value, read-only") << Tweak([](FakeNode &node) {
        node.control(V4L2_CID_GAMMA).flags = V4L2_CTRL_FLAG_READ_ONLY;
    }) << int(Gamma) << 100 << QStringList("gamma=100 -> EACCES");
    // The automatic mode the record still shows is put back.
    QTest::newRow("value after the manual switch, EBUSY")
        << refuse(V4L2_CID_EXPOSURE_ABSOLUTE, EBUSY) << int(Exposure) << 300
        << QStringList({"exposure_auto=1", "exposure=300 -> EBUSY", "exposure_auto=3"});
    QTest::newRow("manual switch, EBUSY") << refuse(V4L2_CID_EXPOSURE_AUTO, EBUSY) << int(Exposure)
                                          << 300 << QStringList("exposure_auto=1 -> EBUSY");
    QTest::newRow("automatic on, EACCES")
        << Tweak([](FakeNode &node) { node.control(V4L2_CID_HUE_AUTO).setError = EACCES; })
        << int(Hue) << -1 << QStringList("hue_auto=1 -> EACCES");
    QTest::newRow("automatic off, value EIO")
        << refuse(V4L2_CID_FOCUS_ABSOLUTE, EIO) << int(Focus) << -2
        << QStringList({"focus_auto=0", "focus=40 -> EIO", "focus_auto=1"});
    QTest::newRow("automatic off, manual switch EBUSY")
        << refuse(V4L2_CID_FOCUS_AUTO, EBUSY) << int(Focus) << -2
        << QStringList("focus_auto=0 -> EBUSY");
}

void TestV4l2CameraControls::refusals()
{
    QFETCH(Tweak, tweak);
    QFETCH(int, id);
    QFETCH(int, action);
    QFETCH(QStringList, writes);

    tweak(io->addUvcCamera("video0", "Cam"));
    QVERIFY(backend->open(QStringLiteral("Cam")));
    const QStringList before = describe(backend->controls());

    const bool result = action == -1 ? backend->setAutomatic(id, true)
        : action == -2               ? backend->setAutomatic(id, false)
                                     : backend->setValue(id, action);
    QVERIFY(!result);
    QCOMPARE(io->writes(), on("video0", writes));
    QCOMPARE(describe(backend->controls()), before);
}

void TestV4l2CameraControls::idsOutsideTheTable()
{
    // Not open yet: nothing to ask.
    QVERIFY(!backend->setValue(Brightness, 1));
    QVERIFY(!backend->setAutomatic(Brightness, false));
    QVERIFY(backend->controls().isEmpty());
    QCOMPARE(backend->lastError(), QString());
    QCOMPARE(io->log, QStringList());

    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));
    io->log.clear();
    for (int id : {-1, controlCount, 100, INT_MIN}) {
        QVERIFY(!backend->setValue(id, 1));
        QVERIFY(!backend->setAutomatic(id, true));
        QVERIFY(!backend->setAutomatic(id, false));
    }
    QCOMPARE(io->log, QStringList());
}

void TestV4l2CameraControls::idTheDeviceDoesNotList()
{
    FakeNode &node = addSmallCamera(*io, "video0", "vivid");
    node.add(V4L2_CID_FOCUS_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, 0, 10, 1, 0).flags =
        V4L2_CTRL_FLAG_WRITE_ONLY;
    QVERIFY(backend->open(QStringLiteral("vivid")));
    const QStringList listed = describe(backend->controls());
    QCOMPARE(ids(backend->controls()), QList<int>({Brightness, Contrast, Hue, Saturation, Gain}));

    // The device is asked all the same and has the last word; the list stays as it was.
    QVERIFY(!backend->setValue(Zoom, 5));
    QVERIFY(backend->setValue(Focus, 7));
    QCOMPARE(io->writes(), on("video0", {"zoom=5 -> EINVAL", "focus=7"}));
    QCOMPARE(describe(backend->controls()), listed);

    // Automatic mode needs a record to know the value to keep.
    io->log.clear();
    QVERIFY(!backend->setAutomatic(Focus, false));
    QVERIFY(!backend->setAutomatic(Zoom, true));
    QCOMPARE(io->log, QStringList());
}

void TestV4l2CameraControls::reopenReplacesControls()
{
    io->addUvcCamera("video0", "Cam A");
    addSmallCamera(*io, "video1", "Cam B");
    QVERIFY(backend->open(QStringLiteral("Cam A")));
    QVERIFY(backend->setValue(Gain, 50));

    QVERIFY(backend->open(QStringLiteral("Cam B")));
    QCOMPARE(io->boundNode(), QByteArray("video1"));
    QCOMPARE(describe(backend->controls()),
             QStringList({
                 "0 亮度 0..255/1 128(128) auto 0 0(0)",
                 "1 对比度 0..255/1 128(128) auto 0 0(0)",
                 "2 色相 -128..128/1 0(0) auto 0 0(0)",
                 "3 饱和度 0..255/1 128(128) auto 0 0(0)",
                 "8 增益 0..255/1 100(100) auto 1 1(1)",
             }));
    io->log.clear();
    QVERIFY(backend->setValue(Gain, 60));
    QCOMPARE(io->writes(), on("video1", {"autogain=0", "gain=60"}));

    backend.reset();
    QCOMPARE(io->calls(QStringLiteral("close ")), QStringList("/dev/video1"));
}

void TestV4l2CameraControls::failedReopenEmptiesList()
{
    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));

    QVERIFY(!backend->open(QStringLiteral("Gone")));
    QVERIFY(backend->controls().isEmpty());
    QCOMPARE(io->openDescriptors(), 0);
    io->log.clear();
    QVERIFY(!backend->setValue(Brightness, 1));
    QVERIFY(!backend->setAutomatic(Focus, true));
    QCOMPARE(io->log, QStringList());

    QVERIFY(backend->open(QStringLiteral("Cam")));
    QCOMPARE(backend->lastError(), QString());
    QCOMPARE(backend->controls().size(), controlCount);
}

void TestV4l2CameraControls::vanishedDevice()
{
    io->addUvcCamera("video0", "Cam");
    QVERIFY(backend->open(QStringLiteral("Cam")));
    const QStringList before = describe(backend->controls());

    io->unplug("video0");
    QVERIFY(!backend->setValue(Brightness, 5));
    QVERIFY(!backend->setValue(Exposure, 300));
    QVERIFY(!backend->setAutomatic(Focus, false));
    QCOMPARE(io->writes(),
             on("video0",
                {"brightness=5 -> ENODEV", "exposure_auto=1 -> ENODEV", "focus_auto=0 -> ENODEV"}));
    QCOMPARE(describe(backend->controls()), before);

    QVERIFY(!backend->open(QStringLiteral("Cam")));
    QCOMPARE(backend->lastError(), noDeviceText);
    QCOMPARE(io->openDescriptors(), 0);
}

QTEST_GUILESS_MAIN(TestV4l2CameraControls)
#include "tst_v4l2cameracontrols.moc"

// The V4L2 backend against the kernel's vivid driver (its webcam node at /dev/video0), as run by
// scripts/vivid-check.sh inside the vivid virtual machine. Without /dev/video0 it exits with 77,
// which CTest reports as skipped.

#include "controls/nativecameracontrols.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <cstdio>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
const char devicePath[] = "/dev/video0";

// Reads a control on a descriptor of its own, past the backend.
bool readBack(quint32 id, qint32 *value)
{
    const int fd = ::open(devicePath, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    v4l2_control control {};
    control.id = id;
    const bool ok = ::ioctl(fd, VIDIOC_G_CTRL, &control) == 0;
    ::close(fd);
    *value = control.value;
    return ok;
}

NativeControl find(const QList<NativeControl> &controls, int id)
{
    const NativeControl *control = findControl(controls, id);
    NativeControl missing;
    missing.id = -1;
    return control ? *control : missing;
}
} // namespace

#define QCOMPARE_DEVICE(id, expected)                                                              \
    do {                                                                                           \
        qint32 actual = 0;                                                                         \
        QVERIFY2(readBack(id, &actual), #id " is not readable");                                   \
        QCOMPARE(actual, qint32(expected));                                                        \
    } while (false)

class TestV4l2Vivid : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void listsWhatVividHas();
    void setValueReachesTheDevice();
    void gainFollowsAutogain();
    void unknownNameAndReopen();

private:
    std::unique_ptr<NativeCameraControls> backend;
};

void TestV4l2Vivid::initTestCase()
{
    backend = createNativeCameraControls();
    QVERIFY(backend);
    QVERIFY2(backend->open(QStringLiteral("VIVID")), qPrintable(backend->lastError()));
    QCOMPARE(backend->lastError(), QString());
}

void TestV4l2Vivid::listsWhatVividHas()
{
    const QList<NativeControl> controls = backend->controls();
    QList<int> ids;
    for (const NativeControl &control : controls)
        ids.append(control.id);
    QCOMPARE(ids, QList<int>({Brightness, Contrast, Hue, Saturation, Gain}));

    struct Expected
    {
        int id;
        quint32 cid;
        qint32 minimum, maximum;
        bool supportsAutomatic;
    };
    for (const Expected &expected : {
             Expected {Brightness, V4L2_CID_BRIGHTNESS, 0, 255, false},
             Expected {Contrast, V4L2_CID_CONTRAST, 0, 255, false},
             Expected {Hue, V4L2_CID_HUE, -128, 128, false},
             Expected {Saturation, V4L2_CID_SATURATION, 0, 255, false},
             Expected {Gain, V4L2_CID_GAIN, 0, 255, true},
         }) {
        const NativeControl control = find(controls, expected.id);
        QCOMPARE(control.name, QString::fromUtf8(findControlDescriptor(expected.id)->name));
        QCOMPARE(control.minimum, expected.minimum);
        QCOMPARE(control.maximum, expected.maximum);
        QCOMPARE(control.step, 1);
        QCOMPARE(control.supportsAutomatic, expected.supportsAutomatic);
        QCOMPARE(control.value, control.initialValue);
        // Gain is volatile while autogain runs; the others must read back as listed.
        if (expected.id != Gain)
            QCOMPARE_DEVICE(expected.cid, control.value);
    }

    qint32 autogain = 0;
    QVERIFY(readBack(V4L2_CID_AUTOGAIN, &autogain));
    QCOMPARE(find(controls, Gain).automatic, autogain != 0);
}

void TestV4l2Vivid::setValueReachesTheDevice()
{
    QVERIFY(backend->setValue(Brightness, 200));
    QCOMPARE_DEVICE(V4L2_CID_BRIGHTNESS, 200);
    QVERIFY(backend->setValue(Hue, -100));
    QCOMPARE_DEVICE(V4L2_CID_HUE, -100);

    // The driver clamps; the record keeps what it applied.
    QVERIFY(backend->setValue(Contrast, 300));
    QCOMPARE_DEVICE(V4L2_CID_CONTRAST, 255);
    const QList<NativeControl> controls = backend->controls();
    QCOMPARE(find(controls, Brightness).value, 200);
    QCOMPARE(find(controls, Hue).value, -100);
    QCOMPARE(find(controls, Contrast).value, 255);

    // vivid has no zoom: the driver refuses it.
    QVERIFY(!backend->setValue(Zoom, 5));
    QVERIFY(!backend->setValue(controlCount, 5));
    QVERIFY(!backend->setAutomatic(Brightness, true));
}

void TestV4l2Vivid::gainFollowsAutogain()
{
    QVERIFY(backend->setAutomatic(Gain, true));
    QCOMPARE_DEVICE(V4L2_CID_AUTOGAIN, 1);
    QVERIFY(find(backend->controls(), Gain).automatic);

    QVERIFY(backend->setValue(Gain, 50));
    QCOMPARE_DEVICE(V4L2_CID_AUTOGAIN, 0);
    QCOMPARE_DEVICE(V4L2_CID_GAIN, 50);
    NativeControl gain = find(backend->controls(), Gain);
    QCOMPARE(gain.value, 50);
    QVERIFY(!gain.automatic);

    QVERIFY(backend->setAutomatic(Gain, true));
    QCOMPARE_DEVICE(V4L2_CID_AUTOGAIN, 1);
    // Back to manual with the last value set, whatever autogain chose meanwhile.
    QVERIFY(backend->setAutomatic(Gain, false));
    QCOMPARE_DEVICE(V4L2_CID_AUTOGAIN, 0);
    QCOMPARE_DEVICE(V4L2_CID_GAIN, 50);
    QVERIFY(!find(backend->controls(), Gain).automatic);
}

void TestV4l2Vivid::unknownNameAndReopen()
{
    QVERIFY(!backend->open(QStringLiteral("vivid ")));
    QCOMPARE(backend->lastError(), QStringLiteral("未找到与“vivid ”匹配的 V4L2 设备"));
    QVERIFY(backend->controls().isEmpty());
    QVERIFY(!backend->setValue(Brightness, 10));

    QVERIFY(backend->open(QStringLiteral("vivid")));
    QCOMPARE(backend->controls().size(), 5);
    // Values are what the device has now, not what the first open saw.
    QCOMPARE(find(backend->controls(), Brightness).initialValue, 200);
}

int main(int argc, char *argv[])
{
    if (!QFile::exists(QString::fromLatin1(devicePath))) {
        std::fprintf(stderr, "tst_v4l2_vivid: no %s, skipped\n", devicePath);
        return 77;
    }
    QCoreApplication application(argc, argv);
    TestV4l2Vivid test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_v4l2_vivid.moc"

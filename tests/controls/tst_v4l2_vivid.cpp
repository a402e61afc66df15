// The V4L2 backend against the kernel's vivid driver (its webcam node at /dev/video0), as run by
// scripts/vivid-check.sh inside the vivid virtual machine; elsewhere it exits with 77 (skipped).

#include "controls/nativecameracontrols.h"

#include <QCoreApplication>
#include <QTest>

#include <climits>
#include <cstdio>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
const char devicePath[] = "/dev/video0";

// A control's value read on a descriptor of its own, past the backend; INT_MIN if unreadable.
qint32 device(quint32 id)
{
    v4l2_control control {id, INT_MIN};
    const int fd = ::open(devicePath, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ::ioctl(fd, VIDIOC_G_CTRL, &control); // a failure leaves INT_MIN
    ::close(fd);
    return control.value;
}
} // namespace

class TestV4l2Vivid : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(backend->open(QStringLiteral("VIVID")), qPrintable(backend->lastError()));
        QList<int> ids;
        for (const NativeControl &control : backend->controls())
            ids.append(control.id);
        QCOMPARE(ids, QList<int>({Brightness, Contrast, Hue, Saturation, Gain}));
        QCOMPARE(record(Hue).minimum, -128);
        QCOMPARE(record(Brightness).value, device(V4L2_CID_BRIGHTNESS));
        QVERIFY(record(Gain).supportsAutomatic);
        QCOMPARE(record(Gain).automatic, device(V4L2_CID_AUTOGAIN) != 0);
    }

    void changesReachTheDevice()
    {
        QVERIFY(backend->setValue(Hue, -100));
        QCOMPARE(device(V4L2_CID_HUE), -100);
        // Refused as a UVC camera on Windows refuses it, where the driver would clamp.
        const int contrast = device(V4L2_CID_CONTRAST);
        QVERIFY(!backend->setValue(Contrast, 300));
        QCOMPARE(device(V4L2_CID_CONTRAST), contrast);
        QCOMPARE(record(Contrast).value, contrast);
        QVERIFY(!backend->setValue(Zoom, 5)); // vivid has none

        QVERIFY(backend->setAutomatic(Gain, true));
        QCOMPARE(device(V4L2_CID_AUTOGAIN), 1);
        QVERIFY(backend->setValue(Gain, 50));
        QCOMPARE(device(V4L2_CID_AUTOGAIN), 0);
        // Back to manual with the last value set, whatever autogain chose meanwhile.
        QVERIFY(backend->setAutomatic(Gain, true));
        QVERIFY(backend->setAutomatic(Gain, false));
        QCOMPARE(device(V4L2_CID_AUTOGAIN), 0);
        QCOMPARE(device(V4L2_CID_GAIN), 50);

        // Values are what the device has now, not what the first open saw.
        QVERIFY(!backend->open(QStringLiteral("vivid ")));
        QVERIFY(backend->open(QStringLiteral("vivid")));
        QCOMPARE(record(Hue).initialValue, -100);
    }

private:
    NativeControl record(int id) const
    {
        const QList<NativeControl> controls = backend->controls();
        const NativeControl *control = findControl(controls, id);
        return control ? *control : NativeControl();
    }

    std::unique_ptr<NativeCameraControls> backend = createNativeCameraControls();
};

int main(int argc, char *argv[])
{
    if (::access(devicePath, F_OK) != 0) {
        std::fprintf(stderr, "tst_v4l2_vivid: no %s, skipped\n", devicePath);
        return 77;
    }
    QCoreApplication application(argc, argv);
    TestV4l2Vivid test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_v4l2_vivid.moc"

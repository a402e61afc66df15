// End-to-end check of the virtual camera plugin through Qt Multimedia's own API, the way
// the application sees cameras.

#include "virtualcamera.h"

#include <QCamera>
#include <QCameraDevice>
#include <QGuiApplication>
#include <QImage>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMediaRecorder>
#include <QSignalSpy>
#include <QVideoFrame>
#include <QVideoSink>
#include <QtTest>

#include <memory>

using VirtualCamera::Camera;
using VirtualCamera::Format;

Q_DECLARE_METATYPE(VirtualCamera::Format)
Q_DECLARE_METATYPE(VirtualCamera::Camera)

namespace {

const QString deskName = QStringLiteral("Desk Camera");
const QString frontName = QStringLiteral("Front Camera");
const QString frozenName = QStringLiteral("Frozen Camera");

const QList<Format> frozenFormats = {{320, 240, 15, "YUY2"}, {640, 480, 30, "NV12"}};

QList<Camera> configuredCameras()
{
    // The default one is deliberately not first: Qt must still list it first.
    return {{deskName, false, true, {}},
            {frontName, true, true, {}},
            {frozenName, false, false, frozenFormats}};
}

QVideoFrameFormat::PixelFormat qtPixelFormat(const QByteArray &gstFormat)
{
    if (gstFormat == "YUY2")
        return QVideoFrameFormat::Format_YUYV;
    if (gstFormat == "NV12")
        return QVideoFrameFormat::Format_NV12;
    return QVideoFrameFormat::Format_Invalid;
}

QList<QCameraDevice> camerasNamed(const QString &name)
{
    QList<QCameraDevice> found;
    for (const QCameraDevice &device : QMediaDevices::videoInputs())
        if (device.description() == name)
            found << device;
    return found;
}

QCameraDevice cameraNamed(const QString &name)
{
    const QList<QCameraDevice> found = camerasNamed(name);
    return found.size() == 1 ? found.first() : QCameraDevice();
}

QCameraFormat formatOf(const QCameraDevice &device, const Format &wanted)
{
    for (const QCameraFormat &f : device.videoFormats()) {
        if (f.resolution() == QSize(wanted.width, wanted.height)
            && f.pixelFormat() == qtPixelFormat(wanted.pixelFormat)
            && qFuzzyCompare(f.maxFrameRate(), float(wanted.fps)))
            return f;
    }
    return {};
}

// A camera previewing into a video sink, counting frames. Frames are not queued up
// (a QSignalSpy would hold every buffer and could starve the source's buffer pool).
struct Preview
{
    QMediaCaptureSession session;
    QVideoSink sink;
    std::unique_ptr<QCamera> camera;
    int frames = 0;
    QVideoFrame lastFrame;

    explicit Preview(const QCameraDevice &device, const QCameraFormat &format = {})
    {
        QObject::connect(&sink, &QVideoSink::videoFrameChanged, &sink,
                         [this](const QVideoFrame &frame) {
                             if (frame.isValid()) {
                                 ++frames;
                                 lastFrame = frame;
                             }
                         });
        // Sink before camera: the other order sometimes never starts streaming.
        session.setVideoOutput(&sink);
        camera = std::make_unique<QCamera>(device);
        if (!format.isNull())
            camera->setCameraFormat(format);
        session.setCamera(camera.get());
        camera->start();
    }
};

QRgb meanColour(const QImage &image, const QRect &area)
{
    qint64 r = 0, g = 0, b = 0, n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb p = image.pixel(x, y);
            r += qRed(p);
            g += qGreen(p);
            b += qBlue(p);
            ++n;
        }
    }
    return qRgb(int(r / n), int(g / n), int(b / n));
}

int colourDistance(QRgb a, QRgb b)
{
    return qAbs(qRed(a) - qRed(b)) + qAbs(qGreen(a) - qGreen(b)) + qAbs(qBlue(a) - qBlue(b));
}

} // namespace

class TestVirtualCamera : public QObject
{
    Q_OBJECT

private slots:
    void listsConfiguredCamerasOnce();
    void listsEveryConfiguredFormat_data();
    void listsEveryConfiguredFormat();
    void pictureRevealsMirroringAndFlipping();
};

void TestVirtualCamera::listsConfiguredCamerasOnce()
{
    // The first call starts Qt's device monitor; duplicates would then arrive as
    // device-added messages through the event loop.
    QMediaDevices::videoInputs();
    QTest::qWait(500);
    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();

    QStringList names;
    for (const QCameraDevice &d : devices)
        names << d.description();
    QCOMPARE(names.size(), 3);
    QCOMPARE(names.count(deskName), 1);
    QCOMPARE(names.count(frontName), 1);
    QCOMPARE(names.count(frozenName), 1);

    QCOMPARE(devices.first().description(), frontName);
    for (const QCameraDevice &d : devices)
        QCOMPARE(d.isDefault(), d.description() == frontName);
    QCOMPARE(QMediaDevices::defaultVideoInput().description(), frontName);
}

void TestVirtualCamera::listsEveryConfiguredFormat_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QList<Format>>("expected");
    QTest::newRow("standard set") << deskName << VirtualCamera::standardFormats();
    QTest::newRow("custom set") << frozenName << frozenFormats;
}

void TestVirtualCamera::listsEveryConfiguredFormat()
{
    QFETCH(QString, name);
    QFETCH(QList<Format>, expected);

    const QCameraDevice device = cameraNamed(name);
    QVERIFY(!device.isNull());
    const QList<QCameraFormat> formats = device.videoFormats();
    QCOMPARE(formats.size(), expected.size());

    // Matching includes maxFrameRate. Qt 6.4 reports minFrameRate 0 for any fixed rate.
    for (const Format &want : expected) {
        const QByteArray what = QByteArray::number(want.width) + 'x'
            + QByteArray::number(want.height) + '@' + QByteArray::number(want.fps) + ' '
            + want.pixelFormat;
        const QCameraFormat got = formatOf(device, want);
        QVERIFY2(!got.isNull(), what);
    }
}

void TestVirtualCamera::pictureRevealsMirroringAndFlipping()
{
    Preview preview(cameraNamed(frontName),
                    formatOf(cameraNamed(frontName), Format {640, 480, 30, "NV12"}));
    QTRY_VERIFY_WITH_TIMEOUT(preview.frames > 0, 10000);

    const QImage image = preview.lastFrame.toImage().convertToFormat(QImage::Format_RGB32);
    QCOMPARE(image.size(), QSize(640, 480));
    const int w = image.width(), h = image.height();

    const QRgb left = meanColour(image, QRect(0, 0, 8, h));
    const QRgb right = meanColour(image, QRect(w - 8, 0, 8, h));
    const QRgb top = meanColour(image, QRect(0, 0, w, 8));
    const QRgb bottom = meanColour(image, QRect(0, h - 8, w, 8));
    QVERIFY2(colourDistance(left, right) > 90, "left and right edges look alike");
    QVERIFY2(colourDistance(top, bottom) > 90, "top and bottom edges look alike");

    // Orientation, not just asymmetry: white bar top left, blue bar top right.
    const QRgb topLeft = meanColour(image, QRect(4, 4, 16, 16));
    const QRgb topRight = meanColour(image, QRect(w - 20, 4, 16, 16));
    QVERIFY2(qRed(topLeft) > 150 && qGreen(topLeft) > 150 && qBlue(topLeft) > 150,
             "top left is not white");
    QVERIFY2(qBlue(topRight) > qRed(topRight) + 100 && qBlue(topRight) > qGreen(topRight) + 100,
             "top right is not blue");
}

int main(int argc, char *argv[])
{
    VirtualCamera::install(configuredCameras());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    TestVirtualCamera test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_virtualcamera.moc"

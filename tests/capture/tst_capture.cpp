#include "mainwindowtestaccess.h"
#include "mediaprobe.h"
#include "preview/videopreviewwidget.h"
#include "session/multimediabackend.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QDesktopServices>
#include <QDir>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QUrl>

namespace {
const QString cameraA = QStringLiteral("Capture Cam A");
// The usual raw format of USB cameras (4:2:2), a 4:2:0 one, and JPEG pictures.
const QList<VirtualCamera::Camera> cameras = {
    {cameraA, true, true, {{640, 480, 30, "YUY2"}}},
    {QStringLiteral("Capture Cam N"), false, true, {{640, 480, 30, "NV12"}}},
    {QStringLiteral("Capture Cam M"), false, true, {{640, 480, 30, "MJPG"}}},
    // Each start delivers half a second of frames, then none.
    {QStringLiteral("Capture Cam S"), false, true, {{640, 480, 30, "NV12"}}, 0, 15},
};
constexpr auto pictures = QStandardPaths::PicturesLocation;
constexpr auto movies = QStandardPaths::MoviesLocation;

QString outputFolder(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QStringLiteral("/Tarvelo");
}

bool isRecording(MainWindowTestAccess &access)
{
    return access.recorder()->recorderState() == QMediaRecorder::RecordingState;
}

// Button text, its "recording" property, the recording label and its style.
QString recordingLook(MainWindowTestAccess &access, qint64 reportedMs)
{
    access.updateRecordingDuration(reportedMs);
    return QStringList {access.recordButton()->text(),
                        access.recordButton()->property("recording").toString(),
                        access.recordingStatus()->text(), access.recordingStatus()->styleSheet()}
        .join(u'|');
}
} // namespace

class TestCapture : public QObject
{
    Q_OBJECT

public slots:
    // Stands in for the desktop's file manager.
    void openFolder(const QUrl &url) { openedUrls << url; }

private slots:
    void initTestCase() { QDesktopServices::setUrlHandler("file", this, "openFolder"); }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    void init()
    {
        TestEnvironment::clearSettings();
        for (const auto location : {pictures, movies}) {
            QFile::remove(QStandardPaths::writableLocation(location));
            QDir(QStandardPaths::writableLocation(location)).removeRecursively();
        }
    }

    void snapshotIsTheOrientedFrame()
    {
        MainWindowTestAccess access;
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        // The colour bars stand still: the frame now is the frame at the snapshot. Turned
        // clockwise, then mirrored.
        const QImage frame = access.preview()->currentFrameImage();
        const QImage expected = frame.transformed(QTransform().rotate(90)).mirrored(true, false);
        access.rotationCombo()->setCurrentIndex(access.rotationCombo()->findData(90));
        access.mirrorCheckBox()->setChecked(true);
        access.takeSnapshot();
        const QString prefix = QStringLiteral("截图已保存：");
        QTRY_VERIFY(access.status().startsWith(prefix));
        const QFileInfo file(access.status().mid(prefix.size()));
        QVERIFY(file.fileName().contains(QRegularExpression("^截图_\\d{8}_\\d{6}_\\d{3}\\.png$")));
        QCOMPARE(file.absolutePath(), outputFolder(pictures));

        const QImage saved = QImage(file.filePath(), "PNG").convertToFormat(QImage::Format_RGB32);
        const QImage wanted = expected.convertToFormat(QImage::Format_RGB32);
        QCOMPARE(saved.size(), wanted.size());
        qsizetype differing = 0; // channels more than a little off: only a few, at the bars' edges
        for (qsizetype i = 0; i < saved.sizeInBytes(); ++i)
            differing += std::abs(saved.constBits()[i] - wanted.constBits()[i]) > 6;
        QVERIFY2(differing < saved.sizeInBytes() / 100, qPrintable(QString::number(differing)));
    }

    void refusals()
    {
        MainWindowTestAccess access;
        // The camera is created 500 ms after the window: no camera and no frame yet.
        QVERIFY(!access.camera());
        access.takeSnapshot();
        QCOMPARE(access.status(), QStringLiteral("截图失败：当前还没有可用画面"));
        access.toggleRecording();
        QCOMPARE(access.status(), QStringLiteral("录像失败：未选择摄像头"));
        QVERIFY(!QFileInfo::exists(outputFolder(pictures))
                && !QFileInfo::exists(outputFolder(movies)));
        access.openPicturesFolder();
        QCOMPARE(access.status(), QStringLiteral("已打开图片保存目录"));
        access.openVideosFolder();
        const QList<QUrl> opened = {QUrl::fromLocalFile(outputFolder(pictures)),
                                    QUrl::fromLocalFile(outputFolder(movies))};
        QCOMPARE(openedUrls, opened);

        // Regular files stand where the folders' parents would go.
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        for (const auto location : {pictures, movies}) {
            QDir(QStandardPaths::writableLocation(location)).removeRecursively();
            QVERIFY(QFile(QStandardPaths::writableLocation(location)).open(QIODevice::WriteOnly));
        }
        access.takeSnapshot();
        QCOMPARE(access.status(), QStringLiteral("截图失败：无法创建图片保存目录"));
        access.toggleRecording();
        QCOMPARE(access.status(), QStringLiteral("录像失败：无法创建视频保存目录"));
        QVERIFY(!isRecording(access));
        access.openVideosFolder();
        QCOMPARE(access.status(), QStringLiteral("无法创建视频保存目录"));
        QCOMPARE(openedUrls, opened);
    }

    // Each way a recording ends, each camera format in turn.
    void recordingEndsPlayable_data()
    {
        QTest::addColumn<int>("camera");
        QTest::addColumn<QString>("how");
        const char *ways[] = {"record", "preview", "switch", "plug", "unplug", "close"};
        for (int i = 0; i < 6; ++i)
            QTest::addRow("%s %s", cameras[i % 3].formats[0].pixelFormat.constData(), ways[i])
                << i % 3 << QString::fromLatin1(ways[i]);
    }

    void recordingEndsPlayable()
    {
        QFETCH(int, camera);
        QFETCH(QString, how);
        auto window = std::make_unique<MainWindow>();
        MainWindowTestAccess access(*window);
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        if (camera != 0) {
            access.deviceCombo()->setCurrentIndex(
                access.deviceCombo()->findText(cameras[camera].name));
            QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        }
        if (how == "record") {
            // Record pressed with the preview stopped starts both.
            access.toggleCamera();
            QTRY_VERIFY(!access.camera()->isActive());
        }
        access.toggleRecording();
        QVERIFY(access.previewRequested() && access.camera()->isActive());
        QTRY_VERIFY(isRecording(access));
        QCOMPARE(access.status(), QStringLiteral("正在录像…"));
        QCOMPARE(recordingLook(access, 3725999) + recordingLook(access, 360000000),
                 "停止录像|true|● 正在录像 01:02:05|color: #c93442; font-weight: 600;"
                 "停止录像|true|● 正在录像 100:00:00|color: #c93442; font-weight: 600;");
        QTest::qWait(2000);

        const VirtualCamera::Camera extra {QStringLiteral("Capture Cam C"), false, true, {}};
        const auto replug = qScopeGuard([&] {
            if (how == "plug")
                VirtualCamera::unplug(extra.name);
            else if (how == "unplug")
                VirtualCamera::plug(cameras[camera]);
            window.reset();
            QTest::qWait(1000);
        });
        if (how == "record" || how == "preview")
            how == "record" ? access.toggleRecording() : access.toggleCamera();
        else if (how == "switch")
            access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(cameraA));
        else if (how == "plug" || how == "unplug")
            QVERIFY(how == "plug" ? VirtualCamera::plug(extra)
                                  : VirtualCamera::unplug(cameras[camera].name));
        else
            window.reset();
        if (window)
            QTRY_VERIFY(!isRecording(access));
        if (how == "record") {
            const QString file = access.recorder()->actualLocation().toLocalFile();
            QCOMPARE(access.status(),
                     QStringLiteral("录像已保存：%1").arg(QDir::toNativeSeparators(file)));
            // A duration reported after the end changes nothing.
            QCOMPARE(recordingLook(access, 5000), QStringLiteral("开始录像|false|未在录像|"));
        } else if (window && how != "preview") {
            // The window goes on: the next camera comes up in a session the recorder is part of.
            QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 10000);
            QCOMPARE(access.recorder()->captureSession()->camera(), access.camera());
        }

        // The one recording is 4:2:0 H.264 (the only sampling of these profiles) of about two
        // seconds; a retired session finishes its file in the background, a pulled camera's file
        // ends with its last whole fragment.
        const QFileInfoList files = QDir(outputFolder(movies)).entryInfoList(QDir::Files);
        MediaProbe probe;
        if (files.size() == 1)
            (void)QTest::qWaitFor(
                [&] { return (probe = MediaProbe::of(files[0].filePath())).seconds > 0; }, 30000);
        const QString profile =
            QRegularExpression("profile=\\(string\\)([\\w-]+)").match(probe.videoCaps).captured(1);
        QVERIFY2(
            files.size() == 1
                && files[0].fileName().contains(QRegularExpression("^录像_\\d{8}_\\d{6}\\.mp4$"))
                && probe.readable && probe.videoCaps.startsWith("video/x-h264")
                && QStringList({"constrained-baseline", "main", "high"}).contains(profile)
                && qAbs(probe.seconds - 2) <= 1.0,
            qPrintable(QString::asprintf("%d files, %g s, %s", int(files.size()), probe.seconds,
                                         qPrintable(probe.videoCaps))));
    }

    // A recording whose start silenced the camera (Qt 6.4 does that when a frame arrives while it
    // links the encoder in) begins again with the camera restarted, in a file of its own.
    void silentRecordingStartsAgain()
    {
        if constexpr (!gstreamerQt64)
            QSKIP("Qt 6.4's GStreamer back end only");
        MainWindowTestAccess access;
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(cameras[3].name));
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        QTest::qWait(1000); // past its frames: silent
        QSignalSpy states(access.recorder(), &QMediaRecorder::recorderStateChanged);
        access.toggleRecording();
        QTRY_COMPARE_WITH_TIMEOUT(states.count(), 3, 10000); // recording, stopped, recording
        QTRY_VERIFY_WITH_TIMEOUT(access.recorder()->duration() > 0, 5000);
        access.toggleRecording();
        QTRY_VERIFY(!isRecording(access));

        const QFileInfoList files = QDir(outputFolder(movies)).entryInfoList(QDir::Files);
        QCOMPARE(files.size(), 1);
        QCOMPARE(files[0].filePath(), access.recorder()->actualLocation().toLocalFile());
        QTRY_VERIFY(MediaProbe::of(files[0].filePath()).videoCaps.startsWith("video/x-h264"));
    }

private:
    QList<QUrl> openedUrls;
};

TARVELO_TEST_MAIN_WITH(TestCapture, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install(cameras))
#include "tst_capture.moc"

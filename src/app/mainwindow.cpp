#include "app/mainwindow.h"

#include "app/settingskeys.h"
#include "capture/recordingframes.h"
#include "controls/nativecameracontrols.h"
#include "preview/videopreviewwidget.h"
#include "session/standinsink.h"

#include <QCamera>
#include <QMediaRecorder>
#include <QSettings>
#include <QVideoSink>

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    nativeControls = createNativeCameraControls();

    recorder = std::make_unique<QMediaRecorder>();
    keepStandInSinksFromPrerolling(); // before the first session makes its stand-in
    captureSession = std::make_unique<QMediaCaptureSession>();
#if !TARVELO_RECORDING_FRAME_FEED
    captureSession->setRecorder(recorder.get());
#endif
    // Queued: the recorder reports its stop from inside its pipeline's message handling.
    connect(recorder.get(), &QMediaRecorder::recorderStateChanged, this, &MainWindow::adoptRecorder,
            Qt::QueuedConnection);
    snapshotWriter.setMaxThreadCount(1);

    buildUi();
#if TARVELO_RECORDING_FRAME_FEED
    recordingFeed = std::make_unique<RecordingFrameFeed>(*recorder, *preview->videoSink());
#endif

    {
        QSettings settings;
        lastDeviceId = settings.value(SettingsKeys::lastDeviceId()).toByteArray();
    }

    deviceChangeTimer.setSingleShot(true);
    deviceChangeTimer.setInterval(700);
    connect(&deviceChangeTimer, &QTimer::timeout, this, &MainWindow::refreshDevices);
    watchForStalls();

    connect(&mediaDevices, &QMediaDevices::videoInputsChanged, this,
            &MainWindow::handleDeviceChange);

    requestCameraPermission();
}

// No event loop runs after the window closes, so a running recording is finished here, while its
// camera still feeds the pipeline. Before that nested loop, everything that could start work again
// is silenced: the timers stop, pending delayed work finds a newer generation, and neither frames
// nor the camera reach the window. The camera is then retired as stopCamera does it:
// destroying it in place can deadlock Qt 6.4. The members go in reverse order of declaration
// (pending snapshots are written, then the recorder, the native controls and the camera go); the
// widgets go with the QMainWindow base.
MainWindow::~MainWindow()
{
    ++sessionGeneration;
    for (QTimer *timer : {&deviceChangeTimer, &stallTimer})
        timer->stop();
    disconnect(&mediaDevices, nullptr, this, nullptr);
    disconnect(preview->videoSink(), nullptr, this, nullptr);
    if (camera)
        disconnect(camera.get(), nullptr, this, nullptr);
    finishRecording();
    retireCamera();
}

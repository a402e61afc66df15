#include "app/mainwindow.h"

#include "controls/nativecameracontrols.h"
#include "preview/videopreviewwidget.h"
#include "session/formats.h"
#include "session/retiredsession.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QMediaRecorder>
#include <QPushButton>
#include <QTimer>
#include <QVideoFrame>

void MainWindow::prepareDevice(const QCameraDevice &device)
{
    const quint64 generation = ++sessionGeneration;
    stopCamera();
    currentDeviceName = device.description();
    currentDeviceId = device.id();
    noFrameRetries = 0;
    setConnectionBadge(tr("●  正在启动"), BadgeState::Waiting);
    statusCard->setText(tr("正在准备：%1").arg(device.description()));

    QTimer::singleShot(500, this,
                       [this, device, generation] { startCamera(device, generation, false); });
}

void MainWindow::startCamera(const QCameraDevice &device, quint64 generation,
                             bool useCompatibleFormat, const QCameraFormat &keptFormat)
{
    if (generation != sessionGeneration)
        return;

    camera = std::make_unique<QCamera>(device);
    connect(camera.get(), &QCamera::activeChanged, this, &MainWindow::updateCameraState);
    connect(camera.get(), &QCamera::errorOccurred, this, &MainWindow::showCameraError);

    // The formats go on before the camera joins the pipeline. Qt 6.4 swaps a wired camera's
    // format in a pad probe and blocks this thread until the stream is idle, while a stream that
    // has just started waits for this thread: each start stalled for seconds, or for good.
    populateFormats(device);

    const QCameraFormat format =
        useCompatibleFormat ? chooseCompatibleFormat(device.videoFormats()) : keptFormat;
    if (!format.isNull()) {
        camera->setCameraFormat(format);
        const int index =
            formatCombo->findData(QVariant::fromValue(format), Qt::UserRole, Qt::MatchExactly);
        if (index >= 0)
            formatCombo->setCurrentIndex(index);
    }

    wireCamera();

    if (nativeControls) {
        nativeControls->open(device.description());
        rebuildHardwareControls();
    }
    refreshExposureAndZoom();

    formatCombo->setEnabled(true);
    snapshotButton->setEnabled(true);
    recordButton->setEnabled(true);
    frameReceived = false;
    setConnectionBadge(tr("●  正在启动"), BadgeState::Waiting);
    statusCard->setText(useCompatibleFormat
                            ? tr("正在使用兼容格式重试：%1").arg(device.description())
                            : tr("正在启动：%1").arg(device.description()));

    if (previewRequested)
        camera->start();

    armNoFrameWatchdog(generation);
}

// Every way of leaving a camera (another choice, a device change, a retry) comes through here.
void MainWindow::stopCamera()
{
    lockHardwareControls();
    // The file is finished while this camera still feeds the pipeline: see retireCamera.
    if (recorder->recorderState() == QMediaRecorder::RecordingState)
        stopRecording();
    if (camera) {
        disconnect(camera.get(), nullptr, this, nullptr);
        camera->stop();
    }
    retireCamera();
    frameReceived = false;
    if (preview)
        preview->clearFrame();
}

void MainWindow::wireCamera()
{
    // The sink goes in before the camera: the other way round Qt 6.4 sometimes never
    // delivers a frame.
    captureSession->setVideoSink(preview->videoSink());
    captureSession->setCamera(camera.get());
}

// The sink leaves at once, the camera a moment later (see retireCaptureSession). Qt 6.4's session
// also stays broken once a camera in it has failed (pulled out while streaming, say), so every
// camera gets a fresh one and the recorder, unless it records from a feed of its own, moves over
// to it. A recorder still finishing its file moves only once it has stopped (adoptRecorder): moved
// earlier, Qt 6.4 would wait for the end of the file right here, in an event loop of its own and
// without a time limit.
void MainWindow::retireCamera()
{
    if (!camera)
        return;
    captureSession->setVideoSink(nullptr);
    std::unique_ptr<QMediaCaptureSession> retiring = std::move(captureSession);
    captureSession = std::make_unique<QMediaCaptureSession>();
    const bool finishing = recorder->recorderState() != QMediaRecorder::StoppedState;
    if (!finishing && !recordingFeed)
        captureSession->setRecorder(recorder.get());
    const bool finishingHere = finishing && recorder->captureSession() == retiring.get();
    retireCaptureSession(std::move(retiring), std::move(camera),
                         finishingHere ? recorder.get() : nullptr);
}

void MainWindow::adoptRecorder()
{
    if (!recordingFeed && recorder->recorderState() == QMediaRecorder::StoppedState
        && recorder->captureSession() != captureSession.get()) {
        captureSession->setRecorder(recorder.get());
    }
}

void MainWindow::toggleCamera()
{
    if (!camera)
        return;
    const bool active = camera->isActive();
    if (active && recorder->recorderState() == QMediaRecorder::RecordingState)
        stopRecording();
    previewRequested = !active;
    if (active)
        camera->stop();
    else
        camera->start();
}

void MainWindow::updateCameraState()
{
    if (!camera)
        return;
    const bool active = camera->isActive();
    primaryButton->setText(active ? tr("停止预览") : tr("启动预览"));
    if (!active)
        setConnectionBadge(tr("●  已停止"), BadgeState::Waiting);
    else if (!frameReceived)
        setConnectionBadge(tr("●  等待画面"), BadgeState::Waiting);
    statusCard->setText(active ? tr("摄像头正在运行") : tr("摄像头已停止"));
}

void MainWindow::showCameraError()
{
    if (!camera || camera->error() == QCamera::NoError)
        return;
    setConnectionBadge(tr("●  摄像头错误"), BadgeState::Error);
    statusCard->setText(tr("摄像头错误：%1").arg(camera->errorString()));
}

namespace {
// Decoders and drivers may pad a frame to whole macroblocks (1920 × 1080 arrives as 1920 × 1088).
bool withinPadding(int frameSize, int formatSize)
{
    constexpr int block = 64;
    return frameSize >= formatSize && frameSize <= (formatSize + block - 1) / block * block;
}

bool isOfFormat(const QVideoFrame &frame, const QCameraFormat &format)
{
    return format.isNull()
        || (withinPadding(frame.width(), format.resolution().width())
            && withinPadding(frame.height(), format.resolution().height()));
}
} // namespace

void MainWindow::handleVideoFrame(const QVideoFrame &frame)
{
    // Qt shows a preroll frame from a camera that was wired but not started, and frames of the
    // previous format can still be queued after a format change: neither means a working preview.
    if (!frame.isValid() || !camera || !camera->isActive()
        || !isOfFormat(frame, camera->cameraFormat()))
        return;
    stallTimer.start();
    stallGeneration = sessionGeneration;
    if (frameReceived)
        return;
    frameReceived = true;
    setConnectionBadge(tr("●  预览正常"), BadgeState::Ready);
    statusCard->setText(noFrameRetries > 0
                            ? tr("画面已恢复：%1 × %2").arg(frame.width()).arg(frame.height())
                            : tr("预览正常：%1 × %2").arg(frame.width()).arg(frame.height()));
    if (noFrameRetries > 0)
        giveBackRetriesOnceSteady(sessionGeneration);
}

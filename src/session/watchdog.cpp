#include "app/mainwindow.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {
constexpr int noFrameTimeoutMs = 3500;
// Long enough that a slow camera's frame interval is no stall, short enough to be noticed.
constexpr int stallTimeoutMs = 3500;
constexpr int retryPauseMs = 800;
constexpr int maximumRetries = 2;
// A retried camera that has streamed this long has recovered: its next stall starts afresh.
constexpr int steadyFlowMs = 3000;
// ... provided its latest frame is this recent, so a start that gives a few frames and dies again
// does not count.
constexpr int steadyFrameGapMs = 1000;
} // namespace

// stopCamera ends a running recording first, while the camera still feeds it.
void MainWindow::handleDeviceChange()
{
    ++sessionGeneration;
    stopCamera();
    formatCombo->setEnabled(false);
    primaryButton->setEnabled(false);
    setConnectionBadge(tr("●  设备变化"), BadgeState::Waiting);
    statusCard->setText(tr("检测到摄像头变化，正在重新连接…"));
    deviceChangeTimer.start();
}

void MainWindow::armNoFrameWatchdog(quint64 generation)
{
    // Whether the camera is active is not checked: one that failed to start is retried too.
    QTimer::singleShot(noFrameTimeoutMs, this, [this, generation] {
        if (generation == sessionGeneration && camera && previewRequested && !frameReceived)
            recoverFromMissingFrames(generation);
    });
}

void MainWindow::watchForStalls()
{
    stallTimer.setSingleShot(true);
    stallTimer.setInterval(stallTimeoutMs);
    connect(&stallTimer, &QTimer::timeout, this, &MainWindow::recoverFromStall);
}

// Qt 6.4's GStreamer back end reports no error when a stream dies after its first frames, and
// later back ends do not always either, so a stream that falls silent gets the retries of one
// that never delivered, with the format it had. Stopping, a format change and a device change all
// clear frameReceived, so none of them counts as a stall.
void MainWindow::recoverFromStall()
{
    if (stallGeneration != sessionGeneration || !camera || !previewRequested || !frameReceived)
        return;
    frameReceived = false;
    recoverFromMissingFrames(sessionGeneration, true,
                             formatCombo->currentData().value<QCameraFormat>());
}

void MainWindow::giveBackRetriesOnceSteady(quint64 generation)
{
    QTimer::singleShot(steadyFlowMs, this, [this, generation] {
        const bool recentFrame =
            stallTimer.isActive() && stallTimer.remainingTime() > stallTimeoutMs - steadyFrameGapMs;
        if (generation == sessionGeneration && frameReceived && recentFrame)
            noFrameRetries = 0;
    });
}

void MainWindow::recoverFromMissingFrames(quint64 generation, bool stalled,
                                          const QCameraFormat &keptFormat)
{
    if (generation != sessionGeneration || currentDeviceId.isEmpty())
        return;

    QCameraDevice device;
    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
    for (const QCameraDevice &candidate : devices) {
        if (candidate.id() == currentDeviceId) {
            device = candidate;
            break;
        }
    }

    if (device.isNull()) {
        statusCard->setText(tr("USB 摄像头已断开，等待重新连接…"));
        setConnectionBadge(tr("●  等待重连"), BadgeState::Waiting);
        return;
    }

    if (noFrameRetries >= maximumRetries) {
        statusCard->setText(tr("USB 摄像头没有返回画面，请重新插拔后再试。"));
        setConnectionBadge(tr("●  无视频画面"), BadgeState::Error);
        return;
    }

    ++noFrameRetries;
    // A stalled camera has shown that its format works.
    const bool useCompatibleFormat = !stalled && noFrameRetries >= maximumRetries;
    setConnectionBadge(tr("●  正在重试"), BadgeState::Waiting);
    statusCard->setText(
        stalled ? tr("画面中断，正在重新建立摄像头连接（%1/2）…").arg(noFrameRetries)
                : tr("尚未收到画面，正在重新建立摄像头连接（%1/2）…").arg(noFrameRetries));
    endRecordingForReconnection();
    stopCamera();
    QTimer::singleShot(retryPauseMs, this,
                       [this, device, generation, useCompatibleFormat, keptFormat] {
                           startCamera(device, generation, useCompatibleFormat, keptFormat);
                       });
}

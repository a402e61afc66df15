#include "app/mainwindow.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {
constexpr int noFrameTimeoutMs = 3500;
constexpr int retryPauseMs = 800;
constexpr int maximumRetries = 2;
} // namespace

// stopCamera ends a running recording first, while the camera still feeds it.
void MainWindow::handleDeviceChange()
{
    ++sessionGeneration;
    stopCamera();
    formatCombo->setEnabled(false);
    primaryButton->setEnabled(false);
    setConnectionBadge(tr("●  设备变化"), QStringLiteral("waiting"));
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
    stallTimer.setInterval(noFrameTimeoutMs);
    connect(&stallTimer, &QTimer::timeout, this, &MainWindow::recoverFromStall);
}

// Qt 6.4's GStreamer back end reports no error when a stream dies after its first frames, so a
// stream that falls silent gets the retries of one that never delivered. Stopping, a format
// change and a device change all clear frameReceived, so none of them counts as a stall.
void MainWindow::recoverFromStall()
{
    if (!camera || !previewRequested || !frameReceived)
        return;
    frameReceived = false;
    recoverFromMissingFrames(sessionGeneration);
}

void MainWindow::recoverFromMissingFrames(quint64 generation)
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
        setConnectionBadge(tr("●  等待重连"), QStringLiteral("waiting"));
        return;
    }

    if (noFrameRetries >= maximumRetries) {
        statusCard->setText(tr("USB 摄像头没有返回画面，请重新插拔后再试。"));
        setConnectionBadge(tr("●  无视频画面"), QStringLiteral("error"));
        return;
    }

    ++noFrameRetries;
    const bool useCompatibleFormat = noFrameRetries >= maximumRetries;
    setConnectionBadge(tr("●  正在重试"), QStringLiteral("waiting"));
    statusCard->setText(tr("尚未收到画面，正在重新建立摄像头连接（%1/2）…").arg(noFrameRetries));
    endRecordingForReconnection();
    stopCamera();
    QTimer::singleShot(retryPauseMs, this, [this, device, generation, useCompatibleFormat] {
        startCamera(device, generation, useCompatibleFormat);
    });
}

#pragma once

#include "app/mainwindow.h"

#include <QCamera>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QVBoxLayout>

// The tests' one way into MainWindow's private state.
class MainWindowTestAccess
{
public:
    explicit MainWindowTestAccess(MainWindow &window)
        : w(window)
    { }

    VideoPreviewWidget *preview() const { return w.preview; }
    QComboBox *deviceCombo() const { return w.deviceCombo; }
    QComboBox *formatCombo() const { return w.formatCombo; }
    QPushButton *primaryButton() const { return w.primaryButton; }
    QPushButton *snapshotButton() const { return w.snapshotButton; }
    QPushButton *recordButton() const { return w.recordButton; }
    QLabel *statusCard() const { return w.statusCard; }
    QLabel *connectionBadge() const { return w.connectionBadge; }
    QCheckBox *mirrorCheckBox() const { return w.mirrorCheckBox; }
    QCheckBox *flipCheckBox() const { return w.flipCheckBox; }
    QComboBox *rotationCombo() const { return w.rotationCombo; }
    QSlider *exposureCompSlider() const { return w.exposureCompSlider; }
    QLabel *exposureCompValueLabel() const { return w.exposureCompValueLabel; }
    QSlider *zoomSlider() const { return w.zoomSlider; }
    QLabel *zoomValueLabel() const { return w.zoomValueLabel; }
    QVBoxLayout *colorExposureLayout() const { return w.colorExposureLayout; }
    QVBoxLayout *lensControlsLayout() const { return w.lensControlsLayout; }
    QWidget *presetButtonsRow() const { return w.presetButtonsRow; }
    QLabel *recordingStatus() const { return w.recordingStatus; }
    QTabWidget *controlTabs() const
    {
        return w.findChild<QTabWidget *>(QStringLiteral("controlTabs"));
    }

    QCamera *camera() const { return w.camera.get(); }
    NativeCameraControls *nativeControls() const { return w.nativeControls.get(); }
    QMediaDevices &mediaDevices() const { return w.mediaDevices; }
    QMediaCaptureSession &captureSession() const { return *w.captureSession; }
    QTimer &deviceChangeTimer() const { return w.deviceChangeTimer; }
    QString currentDeviceName() const { return w.currentDeviceName; }
    QByteArray currentDeviceId() const { return w.currentDeviceId; }
    QByteArray lastDeviceId() const { return w.lastDeviceId; }
    bool frameReceived() const { return w.frameReceived; }
    bool previewRequested() const { return w.previewRequested; }
    qint32 noFrameRetries() const { return w.noFrameRetries; }
    quint64 sessionGeneration() const { return w.sessionGeneration; }

    QString badgeText() const { return w.connectionBadge->text(); }
    QString badgeState() const { return w.connectionBadge->property("state").toString(); }
    QString status() const { return w.statusCard->text(); }

    void refreshDevices() { w.refreshDevices(); }
    void selectCamera(int index) { w.selectCamera(index); }
    void toggleCamera() { w.toggleCamera(); }
    void handleDeviceChange() { w.handleDeviceChange(); }
    void prepareDevice(const QCameraDevice &device) { w.prepareDevice(device); }
    void stopCamera() { w.stopCamera(); }
    void handleVideoFrame(const QVideoFrame &frame) { w.handleVideoFrame(frame); }
    void showCameraError() { w.showCameraError(); }
    void setConnectionBadge(const QString &text, const QString &state)
    {
        w.setConnectionBadge(text, state);
    }
    static void clearLayout(QLayout *layout) { MainWindow::clearLayout(layout); }

private:
    MainWindow &w;
};

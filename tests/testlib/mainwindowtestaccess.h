#pragma once

#include "app/mainwindow.h"
#include "controls/exposurezoom.h"
#include "controls/nativecameracontrols.h"

#include <QCamera>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMediaRecorder>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QVideoFrame>

#include <memory>

// The tests' one way into MainWindow's private state; without a window given, over one of its own.
class MainWindowTestAccess
{
public:
    MainWindowTestAccess()
        : owned(std::make_unique<MainWindow>())
        , w(*owned)
    { }
    explicit MainWindowTestAccess(MainWindow &window)
        : w(window)
    { }

    MainWindow &window() const { return w; }

    VideoPreviewWidget *preview() const { return w.preview; }
    QComboBox *deviceCombo() const { return w.deviceCombo; }
    QComboBox *formatCombo() const { return w.formatCombo; }
    QPushButton *primaryButton() const { return w.primaryButton; }
    QPushButton *snapshotButton() const { return w.snapshotButton; }
    QLabel *statusCard() const { return w.statusCard; }
    QLabel *connectionBadge() const { return w.connectionBadge; }
    QCheckBox *mirrorCheckBox() const { return w.mirrorCheckBox; }
    QCheckBox *flipCheckBox() const { return w.flipCheckBox; }
    QComboBox *rotationCombo() const { return w.rotationCombo; }
    QTabWidget *controlTabs() const { return w.findChild<QTabWidget *>("controlTabs"); }

    QCamera *camera() const { return w.camera.get(); }
    QMediaDevices &mediaDevices() const { return w.mediaDevices; }
    QTimer &deviceChangeTimer() const { return w.deviceChangeTimer; }
    QString currentDeviceName() const { return w.currentDeviceName; }
    QByteArray currentDeviceId() const { return w.currentDeviceId; }
    bool frameReceived() const { return w.frameReceived; }
    qint32 noFrameRetries() const { return w.noFrameRetries; }

    QString badgeText() const { return w.connectionBadge->text(); }
    QString badgeState() const { return w.connectionBadge->property("state").toString(); }
    QString badgeColour(int state) const // 0 ready, 1 waiting, 2 error
    {
        w.setConnectionBadge(QStringLiteral("●"), MainWindow::BadgeState(state));
        return w.connectionBadge->palette().color(QPalette::WindowText).name();
    }
    QString status() const { return w.statusCard->text(); }

    QVBoxLayout *colorExposureLayout() const { return w.colorExposureLayout; }
    QVBoxLayout *lensControlsLayout() const { return w.lensControlsLayout; }
    QWidget *presetButtonsRow() const { return w.presetButtonsRow; }
    QWidget *zoomGroup() const { return w.zoomSlider->parentWidget(); }
    void useNativeControls(std::unique_ptr<NativeCameraControls> controls, const QString &device)
    {
        w.nativeControls = std::move(controls);
        w.currentDeviceName = device;
        w.rebuildHardwareControls();
    }
    void handleDeviceChange() { w.handleDeviceChange(); }
    void showExposureAndZoom(const ExposureAndZoom &reported) { w.showExposureAndZoom(reported); }
    QSlider *exposureCompSlider() const { return w.exposureCompSlider; }
    QLabel *exposureCompValueLabel() const { return w.exposureCompValueLabel; }
    QSlider *zoomSlider() const { return w.zoomSlider; }
    QLabel *zoomValueLabel() const { return w.zoomValueLabel; }
    void toggleCamera() { w.toggleCamera(); }
    void handleVideoFrame(const QVideoFrame &frame) { w.handleVideoFrame(frame); }

    QPushButton *recordButton() const { return w.recordButton; }
    QLabel *recordingStatus() const { return w.recordingStatus; }
    QMediaRecorder *recorder() const { return w.recorder.get(); }
    void takeSnapshot() { w.takeSnapshot(); }
    void toggleRecording() { w.toggleRecording(); }
    void updateRecordingDuration(qint64 ms) { w.updateRecordingDuration(ms); }
    void exportDiagnostics() { w.exportDiagnostics(); }
    QStringList diagnosticsReport() const { return w.diagnosticsReport(); }

private:
    std::unique_ptr<MainWindow> owned;
    MainWindow &w;
};

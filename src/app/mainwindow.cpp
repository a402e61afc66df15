#include "app/mainwindow.h"

#include "app/settingskeys.h"
#include "controls/nativecameracontrols.h"

#include <QCamera>
#include <QMediaRecorder>
#include <QSettings>

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    nativeControls = createNativeCameraControls();

    recorder = std::make_unique<QMediaRecorder>();
    captureSession = std::make_unique<QMediaCaptureSession>();
    captureSession->setRecorder(recorder.get());

    buildUi();

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

// The camera is retired as stopCamera does it: destroying it in place can deadlock Qt 6.4. The
// members then go in reverse order of declaration; the widgets go with the QMainWindow base.
MainWindow::~MainWindow()
{
    retireCamera();
}

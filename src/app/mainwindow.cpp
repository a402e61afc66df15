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
    captureSession.emplace();
    captureSession->setRecorder(recorder.get());

    buildUi();

    {
        QSettings settings;
        lastDeviceId = settings.value(SettingsKeys::lastDeviceId()).toByteArray();
    }

    deviceChangeTimer.setSingleShot(true);
    deviceChangeTimer.setInterval(700);
    connect(&deviceChangeTimer, &QTimer::timeout, this, &MainWindow::refreshDevices);

    connect(&mediaDevices, &QMediaDevices::videoInputsChanged, this,
            &MainWindow::handleDeviceChange);

    requestCameraPermission();
}

// The preview sink leaves the session before the camera goes (see stopCamera). The members
// then go in reverse order of declaration: recorder, native controls, camera, then the capture
// session; the widgets go with the QMainWindow base.
MainWindow::~MainWindow()
{
    captureSession->setVideoSink(nullptr);
}

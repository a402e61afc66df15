#include "app/mainwindow.h"

#include "app/settingskeys.h"
#include "session/cameralist.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QSettings>
#include <QSignalBlocker>
#include <QWidget>

void MainWindow::refreshDevices()
{
    const QList<QCameraDevice> all = QMediaDevices::videoInputs();
    const QList<QCameraDevice> devices = listedCameras(all);
    if (lastDeviceId.isEmpty()) {
        QSettings settings;
        lastDeviceId = settings.value(SettingsKeys::lastDeviceId()).toByteArray();
    }

    int chosen = -1;
    {
        const QSignalBlocker blocker(deviceCombo);
        deviceCombo->clear();
        for (int i = 0; i < devices.size(); ++i) {
            const QCameraDevice &device = devices.at(i);
            deviceCombo->addItem(device.description(), device.id());
            const bool remembered = !lastDeviceId.isEmpty() && device.id() == lastDeviceId;
            const bool fallbackToDefault = lastDeviceId.isEmpty() && isSystemDefault(device, all);
            if (remembered || fallbackToDefault)
                chosen = i;
        }
    }

    deviceCombo->setEnabled(!devices.isEmpty());
    primaryButton->setEnabled(!devices.isEmpty());

    if (!devices.isEmpty()) {
        // A remembered camera that is gone is not replaced in the store: it may come back.
        const int index = chosen >= 0 ? chosen : 0;
        deviceCombo->setCurrentIndex(index);
        prepareDevice(devices.at(index));
        return;
    }

    ++sessionGeneration;
    stopCamera();
    currentDeviceName.clear();
    currentDeviceId.clear();
    formatCombo->clear();
    formatCombo->setEnabled(false);
    snapshotButton->setEnabled(false);
    recordButton->setEnabled(false);
    presetButtonsRow->setEnabled(false);
    clearLayout(colorExposureLayout);
    clearLayout(lensControlsLayout);
    statusCard->setText(tr("未检测到摄像头，请连接 USB 摄像头后刷新。"));
    setConnectionBadge(tr("●  未连接"), BadgeState::Error);
    refreshExposureAndZoom();
}

void MainWindow::selectCamera(int index)
{
    const QList<QCameraDevice> devices = listedCameras();
    if (index < 0 || index >= devices.size())
        return;

    const QCameraDevice &device = devices.at(index);
    lastDeviceId = device.id();
    {
        QSettings settings;
        settings.setValue(SettingsKeys::lastDeviceId(), lastDeviceId);
    }
    prepareDevice(device);
}

void MainWindow::clearLayout(QLayout *layout)
{
    while (QLayoutItem *item = layout->takeAt(0)) {
        if (QLayout *childLayout = item->layout())
            clearLayout(childLayout);
        delete item->widget();
        delete item;
    }
}

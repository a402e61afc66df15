#include "app/mainwindow.h"

#include "app/settingskeys.h"
#include "session/multimediabackend.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QSettings>
#include <QSignalBlocker>
#include <QWidget>

#include <algorithm>

namespace {
// The cameras to offer, in the multimedia layer's order.
QList<QCameraDevice> listedCameras()
{
    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
#if TARVELO_GSTREAMER_QT64
    // Qt 6.4's GStreamer back end lists a V4L2 camera twice (its own probe and the monitor's
    // announcement) and keeps the older entry after the camera is unplugged, where it never
    // delivers a frame again. Of entries that look alike, only the newest is live.
    const auto looksAlike = [](const QCameraDevice &a, const QCameraDevice &b) {
        return a.description() == b.description() && a.videoFormats() == b.videoFormats();
    };
    QList<QCameraDevice> live;
    for (auto it = devices.crbegin(); it != devices.crend(); ++it) {
        const bool newerListed =
            std::any_of(live.cbegin(), live.cend(),
                        [&](const QCameraDevice &newer) { return looksAlike(*it, newer); });
        if (!newerListed)
            live.prepend(*it);
    }
    return live;
#else
    return devices;
#endif
}
} // namespace

void MainWindow::refreshDevices()
{
    const QList<QCameraDevice> devices = listedCameras();
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
            const bool fallbackToDefault = lastDeviceId.isEmpty() && device.isDefault();
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
    setConnectionBadge(tr("●  未连接"), QStringLiteral("error"));
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

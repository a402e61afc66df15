#include "app/mainwindow.h"

#include "session/formats.h"

#include <QCamera>
#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QTimer>

#include <algorithm>

void MainWindow::populateFormats(const QCameraDevice &device)
{
    {
        const QSignalBlocker blocker(formatCombo);
        formatCombo->clear();
        formatCombo->addItem(tr("自动（推荐）"), QVariant::fromValue(QCameraFormat()));

        QList<QCameraFormat> formats = device.videoFormats();
        std::sort(formats.begin(), formats.end(), formatPrecedes<QCameraFormat>);
        for (const QCameraFormat &format : std::as_const(formats))
            formatCombo->addItem(formatItemText(format), QVariant::fromValue(format));
    }
    camera->setCameraFormat(QCameraFormat());
    formatCombo->setCurrentIndex(0);
}

void MainWindow::selectFormat(int index)
{
    if (!camera || index < 0)
        return;

    const QCameraFormat format = formatCombo->itemData(index).value<QCameraFormat>();
    if (camera->isActive()) {
        camera->stop();
        frameReceived = false;
        camera->setCameraFormat(format);
        camera->start();
    } else {
        frameReceived = false;
        camera->setCameraFormat(format);
    }

    const quint64 generation = sessionGeneration;
    QTimer::singleShot(3000, this, [this, generation] {
        if (generation != sessionGeneration || !camera || !camera->isActive() || frameReceived)
            return;
        statusCard->setText(tr("当前格式没有收到画面，请改回“自动（推荐）”。"));
    });
}

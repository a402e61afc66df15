#include "app/mainwindow.h"

#include "app/buildinfo.h"
#include "app/settingskeys.h"
#include "preview/videopreviewwidget.h"
#include "session/cameralist.h"

#include <QCamera>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMediaRecorder>
#include <QSettings>
#include <QSysInfo>

namespace {
QString flag(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}
} // namespace

QStringList MainWindow::diagnosticsReport() const
{
    QStringList lines;
    // One arg call with both parts, so a value holding "%1" or "%2" stays as it is.
    const auto addLine = [&lines](const QString &key, const QString &value) {
        lines << QStringLiteral("%1: %2").arg(key, value);
    };

    addLine(QStringLiteral("GeneratedAt"),
            QDateTime::currentDateTime().toString(Qt::ISODateWithMs));
    addLine(QStringLiteral("AppVersion"), BuildInfo::version());
    addLine(QStringLiteral("BuildId"), BuildInfo::buildId());
    addLine(QStringLiteral("QtVersion"), QString::fromLatin1(qVersion()));
    addLine(QStringLiteral("OperatingSystem"), QSysInfo::prettyProductName());
    addLine(QStringLiteral("Kernel"),
            QStringLiteral("%1 %2").arg(QSysInfo::kernelType(), QSysInfo::kernelVersion()));
    addLine(QStringLiteral("CpuArchitecture"), QSysInfo::currentCpuArchitecture());
    addLine(QStringLiteral("SystemLocale"), QLocale::system().name());
    {
        QSettings settings;
        addLine(QStringLiteral("LanguageSetting"),
                settings.value(SettingsKeys::language(), QStringLiteral("system")).toString());
    }
    addLine(QStringLiteral("SelectedDevice"), currentDeviceName);
    addLine(QStringLiteral("SelectedFormat"), formatCombo->currentText());
    addLine(QStringLiteral("PreviewRequested"), flag(previewRequested));
    addLine(QStringLiteral("CameraCreated"), flag(camera != nullptr));
    addLine(QStringLiteral("CameraActive"), flag(camera && camera->isActive()));
    addLine(QStringLiteral("FrameReceived"), flag(frameReceived));
    const QImage frame = preview->currentFrameImage();
    addLine(QStringLiteral("LastFrameSize"),
            frame.isNull() ? QStringLiteral("none")
                           : QStringLiteral("%1x%2").arg(frame.width()).arg(frame.height()));
    if (camera) {
        addLine(QStringLiteral("CameraErrorCode"), QString::number(int(camera->error())));
        addLine(QStringLiteral("CameraErrorText"), camera->errorString());
    }
    addLine(QStringLiteral("RecorderState"), QString::number(int(recorder->recorderState())));
    addLine(QStringLiteral("RecorderErrorCode"), QString::number(int(recorder->error())));
    addLine(QStringLiteral("RecorderErrorText"), recorder->errorString());
    addLine(QStringLiteral("RecorderOutput"),
            QDir::toNativeSeparators(recorder->actualLocation().toLocalFile()));
    addLine(QStringLiteral("MirrorHorizontal"), flag(mirrorCheckBox->isChecked()));
    addLine(QStringLiteral("FlipVertical"), flag(flipCheckBox->isChecked()));
    addLine(QStringLiteral("Rotation"), QString::number(rotationCombo->currentData().toInt()));

    lines << QString() << QStringLiteral("[VideoDevices]");
    const QList<QCameraDevice> all = QMediaDevices::videoInputs();
    const QList<QCameraDevice> devices = listedCameras(all);
    addLine(QStringLiteral("Count"), QString::number(devices.size()));
    for (qsizetype i = 0; i < devices.size(); ++i) {
        const QCameraDevice &device = devices.at(i);
        const QString prefix = QStringLiteral("Device%1").arg(i + 1);
        addLine(prefix + QStringLiteral(".Name"), device.description());
        addLine(prefix + QStringLiteral(".Id"), QString::fromLatin1(device.id().toHex()));
        addLine(prefix + QStringLiteral(".Default"), flag(isSystemDefault(device, all)));
        addLine(prefix + QStringLiteral(".FormatCount"),
                QString::number(device.videoFormats().size()));
    }
    return lines;
}

void MainWindow::exportDiagnostics()
{
    const QString defaultName =
        QStringLiteral("Tarvelo-Diagnostics-%1.txt")
            .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")));
    const QString defaultPath =
        QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
            .filePath(defaultName);
    const QString fileName =
        QFileDialog::getSaveFileName(this, tr("导出诊断信息"), defaultPath, tr("文本文件 (*.txt)"));
    if (fileName.isEmpty())
        return;

    const QStringList lines = diagnosticsReport();
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        statusCard->setText(tr("诊断信息导出失败：无法写入文件"));
        return;
    }
    const QByteArray data = (lines.join(u'\n') + u'\n').toUtf8();
    if (file.write(data) != data.size()) {
        statusCard->setText(tr("诊断信息导出失败：文件写入不完整"));
        return;
    }
    file.close();
    statusCard->setText(tr("诊断信息已保存：%1").arg(QDir::toNativeSeparators(fileName)));
}

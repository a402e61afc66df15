#include "mainwindowtestaccess.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>

namespace {
const QList<VirtualCamera::Format> formats = {{1920, 1080, 30, "NV12"}, {640, 480, 30, "NV12"}};

// Types `fileName` into the save dialog the export opens, as a user would, and
// returns the name the dialog proposed. Asking before an overwrite is Qt's business.
QString exportAs(MainWindowTestAccess &access, const QString &fileName)
{
    QString proposed;
    QTimer::singleShot(0, [&] { // in the dialog's own event loop
        auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        proposed = dialog->selectedFiles().value(0);
        dialog->setOption(QFileDialog::DontConfirmOverwrite);
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(fileName);
        static_cast<QDialog *>(dialog)->accept();
    });
    access.exportDiagnostics();
    return proposed;
}
} // namespace

class TestDiagnostics : public QObject
{
    Q_OBJECT

private slots:
    // Before the camera exists, then with it running, turned 90 degrees.
    void report()
    {
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        MainWindowTestAccess access;
        // A regular file where a folder of the path should be: the file cannot be opened.
        const QString blocked = QDir::temp().filePath(QStringLiteral("tarvelo-diag-blocker"));
        QVERIFY(QFile(blocked).open(QIODevice::WriteOnly));
        exportAs(access, blocked + QStringLiteral("/report.txt"));
        QCOMPARE(access.status(), QStringLiteral("诊断信息导出失败：无法写入文件"));
        QVERIFY(QFile::remove(blocked));

        for (const bool withCamera : {false, true}) {
            if (withCamera) {
                QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
                access.rotationCombo()->setCurrentIndex(1);
                access.mirrorCheckBox()->setChecked(true);
            }
            const QString target = QDir::temp().filePath(QStringLiteral("tarvelo-diag.txt"));
            QFile file(target);
            const QFileInfo proposed(exportAs(access, target));
            QCOMPARE(proposed.absolutePath(),
                     QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
            QVERIFY(proposed.fileName().contains(
                QRegularExpression(QStringLiteral("^Tarvelo-Diagnostics-\\d{8}-\\d{6}\\.txt$"))));
            QCOMPARE(access.status(), QStringLiteral("诊断信息已保存：%1").arg(target));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray data = file.readAll();
            QVERIFY(file.remove() && data.startsWith("GeneratedAt: ")); // no byte-order mark
            const QString text = QString::fromUtf8(data);
            // Every line "key: value", the last one ended too.
            QString keys = QStringLiteral(
                "GeneratedAt AppVersion BuildId QtVersion OperatingSystem Kernel CpuArchitecture "
                "SystemLocale LanguageSetting SelectedDevice SelectedFormat PreviewRequested "
                "CameraCreated CameraActive FrameReceived LastFrameSize CameraErrorCode "
                "CameraErrorText RecorderState RecorderErrorCode RecorderErrorText RecorderOutput "
                "MirrorHorizontal FlipVertical Rotation  [VideoDevices] Count Device1.Name "
                "Device1.Id Device1.Default Device1.FormatCount Device2.Name Device2.Id "
                "Device2.Default Device2.FormatCount ");
            if (!withCamera)
                keys.remove(QStringLiteral("CameraErrorCode CameraErrorText "));
            QCOMPARE(QString(text).remove(QRegularExpression(": [^\n]*")).replace(u'\n', u' '),
                     keys);
            const QString values =
                QStringLiteral(
                    "AppVersion: 0.9.4|LanguageSetting: system|CameraCreated: %1|LastFrameSize: "
                    "%2|RecorderState: 0|MirrorHorizontal: %1|Rotation: %3|Count: 2|Device1.Name: "
                    "Diag Cam 1|Device1.Default: true|Device2.Default: "
                    "false|Device2.FormatCount: 2")
                    .arg(withCamera ? "true" : "false", withCamera ? "1080x1920" : "none",
                         withCamera ? "90" : "0");
            for (const QString &line : values.split(u'|'))
                QVERIFY2(text.contains(u'\n' + line + u'\n'), qPrintable(line));
            QVERIFY(text.contains(QRegularExpression("\nBuildId: [0-9a-f]{40}\n")));
        }
    }
};

TARVELO_TEST_MAIN_WITH(TestDiagnostics, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({{"Diag Cam 1", true, true, formats},
                                               {"Diag Cam 2", false, true, formats}}))
#include "tst_diagnostics.moc"

#include "mainwindowtestaccess.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>

namespace {
// Ten cameras, so the keys reach Device10; the default one has a 1920x1080 picture.
QList<VirtualCamera::Camera> cameras()
{
    QList<VirtualCamera::Camera> list;
    for (int i = 1; i <= 10; ++i)
        list.append({QStringLiteral("Diag Cam %1").arg(i),
                     i == 1,
                     true,
                     {{1920, 1080, 30, "NV12"}, {640, 480, 30, "NV12"}}});
    return list;
}

// Answers Qt's own save dialog with `fileName` (empty: cancel), confirming an overwrite; returns
// the dialog's proposed file name.
QString answerSaveDialog(MainWindowTestAccess &access, const QString &fileName)
{
    QString proposed;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            box->button(QMessageBox::Yes)->click();
        } else if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
            if (!proposed.isEmpty())
                return;
            proposed = dialog->selectedFiles().value(0);
            if (fileName.isEmpty()) {
                dialog->reject();
            } else {
                // Typed, as a user would.
                dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(fileName);
                // Outside this timer's slot, so the overwrite question can be answered.
                QTimer::singleShot(0, dialog,
                                   [dialog] { static_cast<QDialog *>(dialog)->accept(); });
            }
        }
    });
    poll.start(20);
    access.exportDiagnostics();
    return proposed;
}

QStringList keys(const QStringList &lines)
{
    QStringList result;
    for (const QString &line : lines)
        result << line.section(QStringLiteral(": "), 0, 0);
    return result;
}
} // namespace

class TestDiagnostics : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        TestEnvironment::clearSettings();
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    }
    void report_data();
    void report();
    void outcomes();
};

void TestDiagnostics::report_data()
{
    QTest::addColumn<bool>("withCamera");
    QTest::newRow("before the camera exists") << false;
    QTest::newRow("camera running, turned 90 degrees") << true;
}

void TestDiagnostics::report()
{
    QFETCH(bool, withCamera);
    MainWindow window;
    MainWindowTestAccess access(window);
    if (withCamera) {
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        access.rotationCombo()->setCurrentIndex(1);
        access.mirrorCheckBox()->setChecked(true);
    }

    const QString target = QDir::temp().filePath(QStringLiteral("tarvelo-diag-%1.txt"));
    QFile::remove(target);
    const QString proposed = answerSaveDialog(access, target);
    QCOMPARE(QFileInfo(proposed).absolutePath(),
             QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    QVERIFY(QRegularExpression(QStringLiteral("^Tarvelo-Diagnostics-\\d{8}-\\d{6}\\.txt$"))
                .match(QFileInfo(proposed).fileName())
                .hasMatch());
    QCOMPARE(access.status(), QStringLiteral("诊断信息已保存：%1").arg(target));

    QFile file(target);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray data = file.readAll();
    QVERIFY(!data.startsWith("\xEF\xBB\xBF"));
    QVERIFY(data.endsWith("\n"));
    const QStringList lines = QString::fromUtf8(data.chopped(1)).split(u'\n');
    QStringList expectedKeys = {"GeneratedAt",       "AppVersion",
                                "BuildId",           "QtVersion",
                                "OperatingSystem",   "Kernel",
                                "CpuArchitecture",   "SystemLocale",
                                "LanguageSetting",   "SelectedDevice",
                                "SelectedFormat",    "PreviewRequested",
                                "CameraCreated",     "CameraActive",
                                "FrameReceived",     "LastFrameSize",
                                "CameraErrorCode",   "CameraErrorText",
                                "RecorderState",     "RecorderErrorCode",
                                "RecorderErrorText", "RecorderOutput",
                                "MirrorHorizontal",  "FlipVertical",
                                "Rotation",          "",
                                "[VideoDevices]",    "Count"};
    if (!withCamera)
        expectedKeys.remove(expectedKeys.indexOf(QStringLiteral("CameraErrorCode")), 2);
    for (int i = 1; i <= 10; ++i)
        for (const char *suffix : {".Name", ".Id", ".Default", ".FormatCount"})
            expectedKeys << QStringLiteral("Device%1%2").arg(i).arg(QLatin1String(suffix));
    QCOMPARE(keys(lines), expectedKeys);

    const auto value = [&lines](const QString &key) {
        for (const QString &line : lines)
            if (line.startsWith(key + QStringLiteral(": ")))
                return line.mid(key.size() + 2);
        return QStringLiteral("(missing)");
    };
    QCOMPARE(value("AppVersion"), QStringLiteral("0.9.4"));
    QVERIFY(
        QRegularExpression(QStringLiteral("^[0-9a-f]{40}$")).match(value("BuildId")).hasMatch());
    QCOMPARE(value("LanguageSetting"), QStringLiteral("system"));
    QCOMPARE(value("CameraCreated"), QVariant(withCamera).toString());
    QCOMPARE(value("LastFrameSize"),
             withCamera ? QStringLiteral("1080x1920") : QStringLiteral("none"));
    QCOMPARE(value("Rotation"), withCamera ? QStringLiteral("90") : QStringLiteral("0"));
    QCOMPARE(value("MirrorHorizontal"), QVariant(withCamera).toString());
    QCOMPARE(value("RecorderState"), QStringLiteral("0"));
    QCOMPARE(value("Count"), QStringLiteral("10"));
    QCOMPARE(value("Device1.Name"), QStringLiteral("Diag Cam 1"));
    QCOMPARE(value("Device1.Id"),
             QString::fromLatin1(QMediaDevices::videoInputs().first().id().toHex()));
    QCOMPARE(value("Device1.Default"), QStringLiteral("true"));
    QCOMPARE(value("Device10.Default"), QStringLiteral("false"));
    QCOMPARE(value("Device10.FormatCount"), QStringLiteral("2"));
}

void TestDiagnostics::outcomes()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    access.statusCard()->setText(QStringLiteral("untouched"));
    answerSaveDialog(access, QString());
    QCOMPARE(access.status(), QStringLiteral("untouched"));

    // An existing, longer file is replaced completely.
    const QString target = QDir::temp().filePath(QStringLiteral("tarvelo-diag-old.txt"));
    {
        QFile old(target);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write(QByteArray(100000, 'x'));
    }
    answerSaveDialog(access, target);
    QCOMPARE(access.status(), QStringLiteral("诊断信息已保存：%1").arg(target));
    QFile replaced(target);
    QVERIFY(replaced.open(QIODevice::ReadOnly));
    const QByteArray data = replaced.readAll();
    QVERIFY(data.startsWith("GeneratedAt: ") && !data.contains('x' + QByteArray(10, 'x')));
    QVERIFY(replaced.remove());

    // A regular file where a folder of the path should be: the file cannot be opened.
    const QString blocked = QDir::temp().filePath(QStringLiteral("tarvelo-diag-blocker"));
    QFile blocker(blocked);
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    answerSaveDialog(access, blocked + QStringLiteral("/report.txt"));
    QCOMPARE(access.status(), QStringLiteral("诊断信息导出失败：无法写入文件"));
    QVERIFY(blocker.remove());
}

TARVELO_TEST_MAIN_WITH(TestDiagnostics, VirtualCamera::install(cameras()))
#include "tst_diagnostics.moc"

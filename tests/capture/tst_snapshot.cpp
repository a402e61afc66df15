#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QUrl>

namespace {
QString outputFolder(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QStringLiteral("/Tarvelo");
}

// Makes a location's folder impossible to create: a regular file stands where it would go.
void blockLocation(QStandardPaths::StandardLocation location)
{
    QVERIFY(QFile(QStandardPaths::writableLocation(location)).open(QIODevice::WriteOnly));
}
} // namespace

class TestSnapshot : public QObject
{
    Q_OBJECT

public slots:
    // Stands in for the desktop's file manager.
    void openFolder(const QUrl &url) { openedUrls << url; }

private slots:
    void initTestCase()
    {
        QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "openFolder");
    }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    void init()
    {
        TestEnvironment::clearSettings();
        openedUrls.clear();
        for (const auto location :
             {QStandardPaths::PicturesLocation, QStandardPaths::MoviesLocation}) {
            QFile::remove(QStandardPaths::writableLocation(location));
            QDir(QStandardPaths::writableLocation(location)).removeRecursively();
        }
    }

    void savesOrientedFrame_data();
    void savesOrientedFrame();
    void failures();
    void openFolders_data();
    void openFolders();

private:
    QList<QUrl> openedUrls;
};

void TestSnapshot::savesOrientedFrame_data()
{
    QTest::addColumn<int>("rotation");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<bool>("flipped");
    QTest::newRow("0") << 0 << false << false;
    QTest::newRow("90 mirrored") << 90 << true << false;
    QTest::newRow("180 flipped") << 180 << false << true;
    QTest::newRow("270") << 270 << false << false;
}

void TestSnapshot::savesOrientedFrame()
{
    QFETCH(int, rotation);
    QFETCH(bool, mirrored);
    QFETCH(bool, flipped);
    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
    // The colour bars stand still: the frame now is the frame at the snapshot. Turned clockwise,
    // then mirrored.
    const QImage expected = access.preview()
                                ->currentFrameImage()
                                .transformed(QTransform().rotate(rotation))
                                .mirrored(mirrored, flipped)
                                .convertToFormat(QImage::Format_RGB32);

    access.rotationCombo()->setCurrentIndex(access.rotationCombo()->findData(rotation));
    access.mirrorCheckBox()->setChecked(mirrored);
    access.flipCheckBox()->setChecked(flipped);
    access.takeSnapshot();
    const QString prefix = QStringLiteral("截图已保存：");
    QTRY_VERIFY(access.status().startsWith(prefix));
    const QFileInfo file(access.status().mid(prefix.size()));
    QVERIFY(file.fileName().contains(
        QRegularExpression(QStringLiteral("^截图_\\d{8}_\\d{6}_\\d{3}\\.png$"))));
    QCOMPARE(file.absolutePath(), outputFolder(QStandardPaths::PicturesLocation));

    const QImage saved = QImage(file.filePath(), "PNG").convertToFormat(QImage::Format_RGB32);
    QCOMPARE(saved.size(), expected.size());
    qsizetype differing = 0; // pixels more than a little off: only a few, at the bars' edges
    for (int y = 0; y < saved.height(); ++y)
        for (int x = 0; x < saved.width(); ++x) {
            const QRgb a = saved.pixel(x, y), b = expected.pixel(x, y);
            differing +=
                qAbs(qRed(a) - qRed(b)) + qAbs(qGreen(a) - qGreen(b)) + qAbs(qBlue(a) - qBlue(b))
                >= 12;
        }
    QVERIFY2(differing < saved.width() * saved.height() / 100,
             qPrintable(QString::number(differing)));
}

void TestSnapshot::failures()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    // No frame yet: the camera starts 500 ms after the window.
    access.takeSnapshot();
    QCOMPARE(access.status(), QStringLiteral("截图失败：当前还没有可用画面"));
    QVERIFY(!QFileInfo::exists(outputFolder(QStandardPaths::PicturesLocation)));

    QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
    blockLocation(QStandardPaths::PicturesLocation);
    access.takeSnapshot();
    QCOMPARE(access.status(), QStringLiteral("截图失败：无法创建图片保存目录"));
}

void TestSnapshot::openFolders_data()
{
    QTest::addColumn<bool>("pictures");
    QTest::addColumn<bool>("blocked");
    QTest::addColumn<QString>("status");
    QTest::newRow("pictures") << true << false << QStringLiteral("已打开图片保存目录");
    QTest::newRow("videos blocked") << false << true << QStringLiteral("无法创建视频保存目录");
}

void TestSnapshot::openFolders()
{
    QFETCH(bool, pictures);
    QFETCH(bool, blocked);
    QFETCH(QString, status);
    const auto location =
        pictures ? QStandardPaths::PicturesLocation : QStandardPaths::MoviesLocation;
    if (blocked)
        blockLocation(location);

    MainWindow window;
    MainWindowTestAccess access(window);
    pictures ? access.openPicturesFolder() : access.openVideosFolder();
    QCOMPARE(access.status(), status);
    const QString folder = outputFolder(location);
    QCOMPARE(QFileInfo(folder).isDir(), !blocked);
    QCOMPARE(openedUrls, blocked ? QList<QUrl>() : QList<QUrl> {QUrl::fromLocalFile(folder)});
}

TARVELO_TEST_MAIN_WITH(TestSnapshot,
                       VirtualCamera::install({{QStringLiteral("Snapshot Cam"),
                                                true,
                                                true,
                                                {{1280, 720, 30, "YUY2"}}}}))
#include "tst_snapshot.moc"

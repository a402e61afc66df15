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
constexpr int frameWidth = 1280;
constexpr int frameHeight = 720;

QString outputFolder(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QStringLiteral("/Tarvelo");
}

// Makes a location's folder impossible to create: a regular file stands where it would go.
void blockLocation(QStandardPaths::StandardLocation location)
{
    const QString path = QStandardPaths::writableLocation(location);
    QDir(path).removeRecursively();
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
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
            const QString path = QStandardPaths::writableLocation(location);
            QFile::remove(path);
            QDir(path).removeRecursively();
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
    // Where frame pixel (x, y) of the W x H frame lands in the saved picture.
    using Map = QPoint (*)(QPoint);
    QTest::addColumn<int>("rotation");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<bool>("flipped");
    QTest::addColumn<void *>("map");
    constexpr int W = frameWidth, H = frameHeight;
    const auto row = [](const char *name, int rotation, bool mirrored, bool flipped, Map map) {
        QTest::newRow(name) << rotation << mirrored << flipped << reinterpret_cast<void *>(map);
    };
    row("0", 0, false, false, [](QPoint p) { return p; });
    row("90", 90, false, false, [](QPoint p) { return QPoint(H - 1 - p.y(), p.x()); });
    row("90 mirrored", 90, true, false, [](QPoint p) { return QPoint(p.y(), p.x()); });
    row("180 mirrored", 180, true, false, [](QPoint p) { return QPoint(p.x(), H - 1 - p.y()); });
    row("270", 270, false, false, [](QPoint p) { return QPoint(p.y(), W - 1 - p.x()); });
}

void TestSnapshot::savesOrientedFrame()
{
    QFETCH(int, rotation);
    QFETCH(bool, mirrored);
    QFETCH(bool, flipped);
    QFETCH(void *, map);
    const auto toSaved = reinterpret_cast<QPoint (*)(QPoint)>(map);

    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
    const QImage frame = access.preview()->currentFrameImage();
    QCOMPARE(frame.size(), QSize(frameWidth, frameHeight));

    access.rotationCombo()->setCurrentIndex(access.rotationCombo()->findData(rotation));
    access.mirrorCheckBox()->setChecked(mirrored);
    access.flipCheckBox()->setChecked(flipped);
    access.takeSnapshot();
    const QString prefix = QStringLiteral("截图已保存：");
    QTRY_VERIFY(access.status().startsWith(prefix));
    const QString path = access.status().mid(prefix.size());
    QVERIFY(QFileInfo(path).fileName().contains(
        QRegularExpression(QStringLiteral("^截图_\\d{8}_\\d{6}_\\d{3}\\.png$"))));
    QCOMPARE(QFileInfo(path).absolutePath(), outputFolder(QStandardPaths::PicturesLocation));

    const QImage saved(path, "PNG");
    QCOMPARE(saved.size(), rotation % 180 ? frame.size().transposed() : frame.size());
    // Inside the white, blue and dark-blue areas of the colour bars, away from their edges.
    for (const QPoint p : {QPoint(60, 200), QPoint(1220, 200), QPoint(60, 680)}) {
        const QColor expected = frame.pixelColor(p);
        const QColor actual = saved.pixelColor(toSaved(p));
        QVERIFY2(qAbs(expected.red() - actual.red()) + qAbs(expected.green() - actual.green())
                         + qAbs(expected.blue() - actual.blue())
                     < 12,
                 qPrintable(QStringLiteral("%1,%2").arg(p.x()).arg(p.y())));
    }
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
    QTest::newRow("videos") << false << false << QStringLiteral("已打开视频保存目录");
    QTest::newRow("pictures blocked") << true << true << QStringLiteral("无法创建图片保存目录");
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
                                                {{frameWidth, frameHeight, 30, "YUY2"}}}}))
#include "tst_snapshot.moc"

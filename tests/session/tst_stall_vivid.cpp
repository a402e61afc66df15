// Streams of the kernel's vivid driver that die after their first frames, and one that drops half
// of them, inside the vivid virtual machine (scripts/vivid-check.sh). Skipped (77) without vivid.

#include "badgehistory.h"
#include "preview/videopreviewwidget.h"
#include "sessionwaits.h"
#include "testmain.h"
#include "vividdriver.h"

#include <QProcess>
#include <QVideoSink>

using namespace SessionWaits;

class TestStallVivid : public QObject
{
    Q_OBJECT

private slots:
    void faults_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("retries");
        // Dropping half the frames first: the other two leave the driver broken for a while.
        QTest::newRow("half the frames dropped") << "percentage_of_dropped_buffers=50" << false;
        QTest::newRow("fatal streaming error") << "inject_fatal_streaming_error=1" << true;
        QTest::newRow("disconnect") << "disconnect=1" << true;
    }

    void faults()
    {
        QFETCH(QString, fault);
        QFETCH(bool, retries);

        QTRY_VERIFY_WITH_TIMEOUT(!QMediaDevices::videoInputs().isEmpty(), 60000);
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access, 60000));
        // A small size at a full frame rate: the emulated machine keeps up, and half of 30 fps
        // never leaves a gap of seconds.
        const int index =
            access.formatCombo()->findText(QStringLiteral("640 × 360"), Qt::MatchStartsWith);
        QVERIFY(index > 0);
        access.formatCombo()->setCurrentIndex(index);
        QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：640 × 360"), 30000);

        BadgeHistory badge(access.connectionBadge());
        QCOMPARE(QProcess::execute("v4l2-ctl", {"-d", VividDriver::captureNode(), "-c", fault}), 0);
        const QString retry = QStringLiteral("●  正在重试");
        if (!retries) {
            QTest::qWait(20000);
            QProcess::execute(
                "v4l2-ctl",
                {"-d", VividDriver::captureNode(), "-c", fault.section('=', 0, 0) + "=0"});
            QVERIFY2(!badge.texts().contains(retry), qPrintable(badge.describe()));
            QCOMPARE(access.badgeText(), QStringLiteral("●  预览正常"));
            return;
        }
        QVERIFY2(QTest::qWaitFor([&] { return badge.texts().contains(retry); }, 5000),
                 qPrintable(badge.describe() + access.status()));
        // Then a live picture again, or given up: never a frozen one called live.
        QTRY_VERIFY_WITH_TIMEOUT(
            access.badgeText() == QStringLiteral("●  无视频画面")
                || (access.badgeText() == QStringLiteral("●  预览正常")
                    && badge.entries().constLast().atMs > badge.firstTimeOf(retry)),
            40000);
        if (access.badgeText() == QStringLiteral("●  预览正常")) {
            QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
            QVERIFY(frames.wait(5000));
        }
        qInfo("%s: %s", qPrintable(fault), qPrintable(badge.describe()));
    }
};

TARVELO_TEST_MAIN_WITH(TestStallVivid, if (VividDriver::captureNode().isEmpty()) return 77)
#include "tst_stall_vivid.moc"

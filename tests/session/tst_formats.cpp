#include "session/formats.h"
#include "testmain.h"

#include <algorithm>

namespace {
// Stands in for QCameraFormat, which Qt gives no public way to build.
struct Format
{
    int width;
    int height;
    float fps;
    QSize resolution() const { return {width, height}; }
    float maxFrameRate() const { return fps; }
};
} // namespace

class TestFormats : public QObject
{
    Q_OBJECT

private slots:
    // The list's order and texts, and the format a camera without a picture is retried with.
    void listAndCompatibleChoice_data()
    {
        QTest::addColumn<QList<Format>>("formats");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<int>("compatible");

        QTest::newRow("size first, then rate; slow beats fast")
            << QList<Format> {{1920, 1080, 60}, {640, 480, 30}, {1920, 1080, 30}, {1280, 720, 30}}
            << QStringList {"1920 × 1080   60 fps", "1920 × 1080   30 fps", "1280 × 720   30 fps",
                            "640 × 480   30 fps"}
            << 2;
        QTest::newRow("pixel count beats rate; equal scores: first listed")
            << QList<Format> {{2560, 1440, 30}, {3840, 2160, 15}, {2560, 1440, 30}}
            << QStringList {"3840 × 2160   15 fps", "2560 × 1440   30 fps", "2560 × 1440   30 fps"}
            << 0;
        QTest::newRow("rates rounded; 30.5 fps is not fast")
            << QList<Format> {{1920, 1080, 30.51f},
                              {640, 480, 7.5f},
                              {1920, 1080, 30.5f},
                              {320, 240, 14.4f}}
            << QStringList {"1920 × 1080   31 fps", "1920 × 1080   31 fps", "640 × 480   8 fps",
                            "320 × 240   14 fps"}
            << 2;
        QTest::newRow("only fast formats: closest size")
            << QList<Format> {{640, 480, 60}, {3840, 2160, 60}, {1920, 1080, 60}}
            << QStringList {"3840 × 2160   60 fps", "1920 × 1080   60 fps", "640 × 480   60 fps"}
            << 2;
        QTest::newRow("no formats") << QList<Format> {} << QStringList {} << -1;
    }

    void listAndCompatibleChoice()
    {
        QFETCH(QList<Format>, formats);
        QFETCH(QStringList, texts);
        QFETCH(int, compatible);
        QCOMPARE(compatibleFormatIndex(formats), compatible);
        std::sort(formats.begin(), formats.end(), formatPrecedes<Format>);
        QStringList sorted;
        for (const Format &format : formats)
            sorted << formatItemText(format);
        QCOMPARE(sorted, texts);
    }
};

TARVELO_TEST_MAIN(TestFormats)
#include "tst_formats.moc"

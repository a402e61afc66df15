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
    const char *pixelFormat = "YUY2";

    QSize resolution() const { return {width, height}; }
    float maxFrameRate() const { return fps; }
};

QStringList itemTexts(QList<Format> formats)
{
    std::sort(formats.begin(), formats.end(), formatPrecedes<Format>);
    QStringList texts;
    for (const Format &format : formats)
        texts << formatItemText(format);
    return texts;
}
} // namespace

class TestFormats : public QObject
{
    Q_OBJECT

private slots:
    void listOrderAndText_data();
    void listOrderAndText();
    void compatibleChoice_data();
    void compatibleChoice();
};

void TestFormats::listOrderAndText_data()
{
    QTest::addColumn<QList<Format>>("formats");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("size first, then rate")
        << QList<Format> {{640, 480, 30}, {1920, 1080, 30}, {1920, 1080, 60}, {1280, 720, 30}}
        << QStringList {"1920 × 1080   60 fps", "1920 × 1080   30 fps", "1280 × 720   30 fps",
                        "640 × 480   30 fps"};
    QTest::newRow("pixel count beats frame rate")
        << QList<Format> {{2560, 1440, 30}, {3840, 2160, 15}}
        << QStringList {"3840 × 2160   15 fps", "2560 × 1440   30 fps"};
    QTest::newRow("same size and rate in two pixel formats")
        << QList<Format> {{1280, 720, 30, "NV12"}, {1920, 1080, 30}, {1280, 720, 30, "YUY2"}}
        << QStringList {"1920 × 1080   30 fps", "1280 × 720   30 fps", "1280 × 720   30 fps"};
    QTest::newRow("rates rounded to whole numbers")
        << QList<Format> {{1280, 720, 29.97f}, {640, 480, 7.5f}, {320, 240, 14.4f}}
        << QStringList {"1280 × 720   30 fps", "640 × 480   8 fps", "320 × 240   14 fps"};
}

void TestFormats::listOrderAndText()
{
    QFETCH(QList<Format>, formats);
    QFETCH(QStringList, expected);
    QCOMPARE(itemTexts(formats), expected);
}

void TestFormats::compatibleChoice_data()
{
    QTest::addColumn<QList<Format>>("formats");
    QTest::addColumn<int>("expectedIndex");

    QTest::newRow("slow formats beat fast ones")
        << QList<Format> {{1920, 1080, 60}, {1280, 720, 30}, {3840, 2160, 30}} << 1;
    QTest::newRow("equal scores: first listed wins")
        << QList<Format> {{1920, 1080, 30, "MJPG"}, {1920, 1080, 30, "YUY2"}} << 0;
    QTest::newRow("30.5 fps is not penalised")
        << QList<Format> {{1920, 1080, 30.51f}, {1920, 1080, 30.5f}} << 1;
    QTest::newRow("only fast formats: closest size wins")
        << QList<Format> {{640, 480, 60}, {1920, 1080, 60}, {3840, 2160, 60}} << 1;
    QTest::newRow("no formats") << QList<Format> {} << -1;
}

void TestFormats::compatibleChoice()
{
    QFETCH(QList<Format>, formats);
    QFETCH(int, expectedIndex);
    QCOMPARE(compatibleFormatIndex(formats), expectedIndex);
}

TARVELO_TEST_MAIN(TestFormats)
#include "tst_formats.moc"

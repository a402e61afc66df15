#include "session/formats.h"
#include "testmain.h"

#include <algorithm>

namespace {
// Stands in for QCameraFormat, which Qt gives no public way to build.
struct Format
{
    int width, height;
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
    void listAndCompatibleChoice()
    {
        const struct
        {
            const char *why;
            QList<Format> formats;
            const char *texts;
            int compatible;
        } cases[] = {
            {"size first, then rate; slow beats fast",
             {{1920, 1080, 60}, {640, 480, 30}, {1920, 1080, 30}, {1280, 720, 30}},
             "1920 × 1080   60 fps, 1920 × 1080   30 fps, 1280 × 720   30 fps, 640 × 480   30 fps",
             2},
            {"pixel count beats rate; equal scores: first listed",
             {{2560, 1440, 30}, {3840, 2160, 15}, {2560, 1440, 30}},
             "3840 × 2160   15 fps, 2560 × 1440   30 fps, 2560 × 1440   30 fps",
             0},
            {"rates rounded; 30.5 fps is not fast",
             {{1920, 1080, 30.51f}, {640, 480, 7.5f}, {1920, 1080, 30.5f}, {320, 240, 14.4f}},
             "1920 × 1080   31 fps, 1920 × 1080   31 fps, 640 × 480   8 fps, 320 × 240   14 fps",
             2},
            {"only fast formats: closest size",
             {{640, 480, 60}, {3840, 2160, 60}, {1920, 1080, 60}},
             "3840 × 2160   60 fps, 1920 × 1080   60 fps, 640 × 480   60 fps",
             2},
            {"no formats", {}, "", -1}};
        for (auto [why, formats, texts, compatible] : cases) {
            const int chosen = compatibleFormatIndex(formats);
            std::sort(formats.begin(), formats.end(), formatPrecedes<Format>);
            QStringList sorted;
            for (const Format &format : formats)
                sorted << formatItemText(format);
            QCOMPARE(QStringList({why, QString::number(chosen), sorted.join(", ")}),
                     QStringList({why, QString::number(compatible), QString::fromUtf8(texts)}));
        }
    }
};

TARVELO_TEST_MAIN(TestFormats)
#include "tst_formats.moc"

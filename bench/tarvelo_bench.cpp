// Start-up latency, preview CPU, memory and pictures shown of the program as a user starts it,
// watched from outside on the X screen; snapshot and recording costs of the window in-process.
//
//   tarvelo_bench            runs every figure (needs an X display, see bench/run.sh)
//   tarvelo_bench --preview  only start-up, preview CPU, memory and pictures shown
//   tarvelo_bench --snapshot W H   one window process: times ten snapshots of a W x H camera
//   tarvelo_bench --frames W H     one window process: window-thread CPU time per camera frame
//   tarvelo_bench --record S       one window process: records S seconds of 1080p30

#include "app/mainwindow.h"
#include "benchwindow.h"
#include "mainwindowtestaccess.h"
#include "mediaprobe.h"
#include "preview/videopreviewwidget.h"
#include "screenwatch.h"
#include "userrun.h"
#include "virtualcamera.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMediaRecorder>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QTextStream>
#include <QTimer>
#include <QVideoSink>

#include <algorithm>
#include <optional>

#include <time.h>

namespace {
constexpr int startRuns = 10;
constexpr int cpuWindowSeconds = 10;

VirtualCamera::Camera benchCamera(int width, int height, const QByteArray &format = "YUY2")
{
    return {QStringLiteral("Bench Camera"), true, true, {{width, height, 30, format}}};
}

bool waitForPreview(MainWindowTestAccess &access)
{
    return QTest::qWaitFor([&] { return access.frameReceived(); }, 15000);
}

// The longest gap between the ticks of a 1 ms timer: how long the GUI thread was kept busy.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        clock.start();
        timer.callOnTimeout(this, [this] { longest = std::max(longest, clock.restart()); });
        timer.start(1);
    }
    qint64 longest = 0;

private:
    QTimer timer;
    QElapsedTimer clock;
};

int runSnapshots(int argc, char *argv[], int width, int height)
{
    return withWindow(
        argc, argv, {benchCamera(width, height)}, [](MainWindow &, MainWindowTestAccess &access) {
            if (!waitForPreview(access))
                return 1;
            QList<double> times;
            QList<double> clicks;
            qint64 stall = 0;
            for (int i = 0; i < 10; ++i) {
                QTest::qWait(100);
                access.statusCard()->clear();
                StallMeter meter;
                QTest::qWait(50);
                QElapsedTimer clock;
                clock.start();
                access.takeSnapshot();
                clicks << double(clock.nsecsElapsed()) / 1e6;
                (void)QTest::qWaitFor([&] { return !access.status().isEmpty(); }, 10000);
                times << double(clock.nsecsElapsed()) / 1e6;
                stall = std::max(stall, meter.longest);
            }
            QTextStream(stdout) << "  " << access.preview()->currentFrameImage().width() << "x"
                                << access.preview()->currentFrameImage().height() << ": median "
                                << QString::number(ProcessFigures::median(times), 'f', 0)
                                << " ms to the saved message; the click holds the window thread "
                                << QString::number(ProcessFigures::median(clicks), 'f', 1)
                                << " ms (median), "
                                << QString::number(
                                       *std::max_element(clicks.cbegin(), clicks.cend()), 'f', 1)
                                << " ms (longest); longest GUI-thread stall, preview included, "
                                << stall << " ms" << Qt::endl;
            return 0;
        });
}

double threadCpuMs()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// CPU time of the window's thread from one camera frame's arrival to the next: what each frame
// costs it (taking the frame, converting and drawing it, and anything else it did meanwhile).
int runFrameCosts(int argc, char *argv[], int width, int height)
{
    return withWindow(
        argc, argv, {benchCamera(width, height)}, [](MainWindow &, MainWindowTestAccess &access) {
            if (!waitForPreview(access))
                return 1;
            QTest::qWait(2000);
            QList<double> costs;
            double last = -1;
            QObject context;
            QObject::connect(access.preview()->videoSink(), &QVideoSink::videoFrameChanged,
                             &context, [&] {
                                 const double now = threadCpuMs();
                                 if (last >= 0)
                                     costs << now - last;
                                 last = now;
                             });
            QTest::qWait(10000);
            QObject::disconnect(access.preview()->videoSink(), nullptr, &context, nullptr);
            if (costs.isEmpty())
                return 1;
            std::sort(costs.begin(), costs.end());
            const double p99 = costs.at(std::min(costs.size() - 1, costs.size() * 99 / 100));
            const QImage image = access.preview()->currentFrameImage();
            QTextStream(stdout) << "  " << image.width() << "x" << image.height() << ": median "
                                << QString::number(ProcessFigures::median(costs), 'f', 2)
                                << " ms, 99th percentile " << QString::number(p99, 'f', 2)
                                << " ms over " << costs.size() << " frames" << Qt::endl;
            return 0;
        });
}

// The number of video samples in an MP4 file's sample-size table.
qint64 mp4SampleCount(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray data = file.readAll();
    const qsizetype at = data.lastIndexOf("stsz");
    if (at < 0 || at + 16 > data.size())
        return -1;
    const auto *count = reinterpret_cast<const uchar *>(data.constData() + at + 12);
    return qint64(count[0]) << 24 | count[1] << 16 | count[2] << 8 | count[3];
}

int runRecording(int argc, char *argv[], int seconds)
{
    return withWindow(
        argc, argv, {benchCamera(1920, 1080)},
        [seconds](MainWindow &, MainWindowTestAccess &access) {
            if (!waitForPreview(access))
                return 1;
            QTextStream out(stdout);
            const double cpuBefore = ProcessFigures::cpuSeconds(QCoreApplication::applicationPid());
            QElapsedTimer clock;
            access.toggleRecording();
            (void)QTest::qWaitFor([&] {
                return access.recorder()->recorderState() == QMediaRecorder::RecordingState;
            });
            clock.start();
            QTest::qWait(seconds * 1000);
            access.toggleRecording();
            const double recordedSeconds = double(clock.elapsed()) / 1000;
            (void)QTest::qWaitFor(
                [&] { return access.recorder()->recorderState() == QMediaRecorder::StoppedState; },
                60000);
            const double cpu =
                ProcessFigures::cpuSeconds(QCoreApplication::applicationPid()) - cpuBefore;
            const QString path = access.recorder()->actualLocation().toLocalFile();
            const MediaProbe probe = MediaProbe::of(path);
            out << "  frames in the file " << mp4SampleCount(path) << " of about "
                << qRound(recordedSeconds * 30) << " expected; file duration "
                << QString::number(probe.seconds, 'f', 2) << " s" << Qt::endl;
            out << "  CPU seconds of the whole program while recording (preview included): "
                << QString::number(cpu, 'f', 1) << " for "
                << QString::number(recordedSeconds, 'f', 1) << " s" << Qt::endl;
            out << "  " << probe.container << Qt::endl
                << "  " << probe.videoCaps.left(120) << Qt::endl;
            return 0;
        });
}

// Runs this program in one of its child modes and passes its output on.
void runChild(const QStringList &arguments)
{
    QProcess child;
    child.setProgram(QCoreApplication::applicationFilePath());
    child.setArguments(arguments);
    child.setStandardErrorFile(QProcess::nullDevice());
    child.start();
    child.waitForFinished(600000);
    QTextStream(stdout) << child.readAllStandardOutput();
}

// Camera colour bars, not the window's greys.
bool isColourful(QRgb colour)
{
    const int high = std::max({qRed(colour), qGreen(colour), qBlue(colour)});
    const int low = std::min({qRed(colour), qGreen(colour), qBlue(colour)});
    return high - low > 96;
}

// Waits until a large area is drawn whose centre shows the colour bars; returns that area.
QRect waitForPicture(ScreenWatch &screen, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        const std::optional<ScreenWatch::Draw> draw = screen.next(int(timeoutMs - clock.elapsed()));
        if (!draw)
            break;
        if (draw->area.width() >= 320 && draw->area.height() >= 180
            && isColourful(screen.pixel(draw->area.center())))
            return draw->area;
    }
    return {};
}

// Pictures drawn over `picture` during the given time: draws covering more than half of it.
int countPictures(ScreenWatch &screen, const QRect &picture, int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    int count = 0;
    const qint64 half = qint64(picture.width()) * picture.height() / 2;
    while (clock.elapsed() < milliseconds) {
        const std::optional<ScreenWatch::Draw> draw =
            screen.next(int(milliseconds - clock.elapsed()));
        if (!draw)
            continue;
        // Rectangles of one drawn region do not overlap: at most one covers more than half.
        const QRect covered = draw->area.intersected(picture);
        if (qint64(covered.width()) * covered.height() > half)
            ++count;
    }
    return count;
}

struct Steady
{
    double cpuSeconds = -1;
    double framesPerSecond = 0;
};

// CPU seconds and pictures shown per second over the measuring window, after a settling time.
Steady measureSteady(ScreenWatch &screen, qint64 pid, const QRect &picture)
{
    countPictures(screen, picture, 2000); // past start-up work
    const double before = ProcessFigures::cpuSeconds(pid);
    const int pictures = countPictures(screen, picture, cpuWindowSeconds * 1000);
    const double after = ProcessFigures::cpuSeconds(pid);
    return {after - before, double(pictures) / cpuWindowSeconds};
}

QString figure(double value, int decimals = 2)
{
    return QString::number(value, 'f', decimals);
}

// The program on a camera of the given size: start-up, CPU, memory and pictures shown.
struct ProgramRun
{
    double windowMs = -1; // process start to the window on the screen
    double startMs = -1; // process start to the first picture
    Steady steady;
    double residentMb = 0;
    double peakResidentMb = 0;
    int threads = 0;
};

ProgramRun runProgram(ScreenWatch &screen, int width, int height, bool steady,
                      const QByteArray &format = "YUY2")
{
    ProgramRun result;
    screen.blank();
    UserRun program(benchCamera(width, height, format));
    QElapsedTimer clock;
    clock.start();
    if (!program.start())
        return result;
    // The window is at least its minimum size, 720 x 480, when it first reaches the screen.
    for (std::optional<ScreenWatch::Draw> draw; (draw = screen.next(15000));) {
        if (draw->area.width() >= 720 && draw->area.height() >= 480) {
            result.windowMs = double(clock.nsecsElapsed()) / 1e6;
            break;
        }
    }
    const QRect picture = waitForPicture(screen, 15000);
    if (picture.isEmpty())
        return result;
    result.startMs = double(clock.nsecsElapsed()) / 1e6;
    if (steady) {
        result.steady = measureSteady(screen, program.pid(), picture);
        result.residentMb = ProcessFigures::residentMegabytes(program.pid());
        result.peakResidentMb = ProcessFigures::peakResidentMegabytes(program.pid());
        result.threads = ProcessFigures::threads(program.pid());
    }
    return result;
}

// The bare pipeline a preview amounts to: the same picture (JPEG-coded and decoded again for an
// MJPG camera, as the virtual camera codes it in the program), converted and scaled to about the
// size the window shows, drawn on the screen.
Steady runBarePipeline(ScreenWatch &screen, int width, int height, bool mjpeg = false)
{
    screen.blank();
    QProcess pipeline;
    pipeline.setStandardOutputFile(QProcess::nullDevice());
    pipeline.setStandardErrorFile(QProcess::nullDevice());
    const QString source =
        QStringLiteral("videotestsrc pattern=smpte is-live=true ! video/x-raw,%1width=%2,height=%3,"
                       "framerate=30/1 ! %4")
            .arg(mjpeg ? QString() : QStringLiteral("format=YUY2,"))
            .arg(width)
            .arg(height)
            .arg(mjpeg ? QStringLiteral("jpegenc ! jpegdec ! ") : QString());
    const QString elements = source
        + QStringLiteral("videoconvert ! videoscale ! video/x-raw,width=960,height=540 ! "
                         "ximagesink");
    pipeline.start(QStandardPaths::findExecutable(QStringLiteral("gst-launch-1.0")),
                   elements.split(QLatin1Char(' ')));
    Steady result;
    if (pipeline.waitForStarted(5000)) {
        const QRect picture = waitForPicture(screen, 15000);
        if (!picture.isEmpty())
            result = measureSteady(screen, pipeline.processId(), picture);
    }
    stopProcess(pipeline);
    return result;
}

void printSteady(QTextStream &out, const QString &what, const ProgramRun &run)
{
    out << "  " << what << ": " << figure(run.steady.cpuSeconds) << " CPU-s per "
        << cpuWindowSeconds << " s, " << figure(run.steady.framesPerSecond, 1)
        << " pictures shown per second (" << figure(run.steady.framesPerSecond / 30 * 100, 0)
        << " % of the camera's 30), RSS " << figure(run.residentMb, 0) << " MB (peak "
        << figure(run.peakResidentMb, 0) << " MB), " << run.threads << " threads" << Qt::endl;
}

QString ratio(double program, double bare)
{
    return bare > 0 ? figure(program / bare) : QStringLiteral("n/a");
}

// The program and the bare pipeline on the same camera picture, one after the other.
void compare(QTextStream &out, ScreenWatch &screen, int width, int height, const QByteArray &format)
{
    const QString what =
        QStringLiteral("%1x%2@30 %3").arg(width).arg(height).arg(QString::fromLatin1(format));
    const ProgramRun program = runProgram(screen, width, height, true, format);
    const Steady bare = runBarePipeline(screen, width, height, format == "MJPG");
    printSteady(out, QStringLiteral("tarvelo ") + what, program);
    out << "  bare gst-launch, same picture to 960x540 on ximagesink: " << figure(bare.cpuSeconds)
        << " CPU-s, " << figure(bare.framesPerSecond, 1) << " pictures per second" << Qt::endl;
    out << "  ratio tarvelo / bare pipeline (CPU): "
        << ratio(program.steady.cpuSeconds, bare.cpuSeconds) << Qt::endl;
}

int runAll(bool previewOnly)
{
    QTextStream out(stdout);
    // One connection throughout: an X server resets when its last client leaves.
    ScreenWatch screen;
    if (!screen.isOpen()) {
        out << "needs an X display with the DAMAGE extension (bench/run.sh starts Xvfb)"
            << Qt::endl;
        return 1;
    }
    out << "the program as a user starts it (default settings, one virtual camera), "
           "watched on the X screen"
        << Qt::endl;

    QList<double> windowTimes;
    QList<double> pictureTimes;
    for (int i = 0; i < startRuns; ++i) {
        const ProgramRun run = runProgram(screen, 1920, 1080, false);
        if (run.windowMs < 0) {
            out << "run " << i + 1 << ": no window on the screen" << Qt::endl;
            return 1;
        }
        windowTimes << run.windowMs;
        // A media back end that cannot see the virtual camera (Qt's FFmpeg one reads only V4L2
        // devices) still shows the window: its start is measured, the rest needs a picture.
        if (run.startMs < 0 && !pictureTimes.isEmpty()) {
            out << "run " << i + 1 << ": no picture on the screen" << Qt::endl;
            return 1;
        }
        if (run.startMs >= 0)
            pictureTimes << run.startMs - run.windowMs - 500;
        else if (i == 0)
            out << "run 1: the window shows no camera picture; measuring its start only"
                << Qt::endl;
    }
    auto spread = [](QList<double> values) {
        std::sort(values.begin(), values.end());
        return QStringLiteral("median %1 ms (min %2, max %3)")
            .arg(figure(ProcessFigures::median(values), 0), figure(values.first(), 0),
                 figure(values.last(), 0));
    };
    out << "start, 1920x1080@30 YUY2, " << startRuns << " runs:" << Qt::endl;
    out << "  process start to the window on the screen: " << spread(windowTimes) << Qt::endl;
    if (pictureTimes.isEmpty()) {
        out << "no camera picture in any run: the preview figures need one" << Qt::endl;
        return 1;
    }
    out << "  the window to the first picture, less the designed 500 ms start delay (armed just "
           "before the window is shown): "
        << spread(pictureTimes) << Qt::endl;

    out << "preview, after 2 s of settling, 10 s measured:" << Qt::endl;
    compare(out, screen, 1920, 1080, "YUY2");
    compare(out, screen, 3840, 2160, "YUY2");
    compare(out, screen, 1920, 1080, "MJPG");
    out << "window-thread CPU time per camera frame (YUY2):" << Qt::endl;
    runChild({QStringLiteral("--frames"), QStringLiteral("1920"), QStringLiteral("1080")});
    runChild({QStringLiteral("--frames"), QStringLiteral("3840"), QStringLiteral("2160")});
    if (previewOnly)
        return 0;

    out << "snapshot, wall time from the click to the saved message (10 runs):" << Qt::endl;
    runChild({QStringLiteral("--snapshot"), QStringLiteral("1920"), QStringLiteral("1080")});
    runChild({QStringLiteral("--snapshot"), QStringLiteral("3840"), QStringLiteral("2160")});
    out << "recording, 60 s of a 1920x1080@30 YUY2 camera:" << Qt::endl;
    runChild({QStringLiteral("--record"), QStringLiteral("60")});
    return 0;
}
} // namespace

int main(int argc, char *argv[])
{
    if (argc > 3 && qstrcmp(argv[1], "--snapshot") == 0)
        return runSnapshots(argc, argv, atoi(argv[2]), atoi(argv[3]));
    if (argc > 3 && qstrcmp(argv[1], "--frames") == 0)
        return runFrameCosts(argc, argv, atoi(argv[2]), atoi(argv[3]));
    if (argc > 2 && qstrcmp(argv[1], "--record") == 0)
        return runRecording(argc, argv, atoi(argv[2]));
    QCoreApplication application(argc, argv);
    return runAll(argc > 1 && qstrcmp(argv[1], "--preview") == 0);
}

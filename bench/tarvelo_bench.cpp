// Start-up latency, preview CPU, memory and pictures shown of the program as a user starts it,
// watched from outside on the X screen; snapshot and recording costs of the window in-process.
//
//   tarvelo_bench            runs every figure (needs an X display, see bench/run.sh)
//   tarvelo_bench --preview  only start-up, preview CPU, memory and pictures shown
//   tarvelo_bench --snapshot W H   one window process: times ten snapshots of a W x H camera
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

#include <algorithm>
#include <optional>

namespace {
constexpr int startRuns = 10;
constexpr int cpuWindowSeconds = 10;

VirtualCamera::Camera benchCamera(int width, int height)
{
    return {QStringLiteral("Bench Camera"), true, true, {{width, height, 30, "YUY2"}}};
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
            qint64 stall = 0;
            for (int i = 0; i < 10; ++i) {
                QTest::qWait(100);
                access.statusCard()->clear();
                StallMeter meter;
                QTest::qWait(50);
                QElapsedTimer clock;
                clock.start();
                access.takeSnapshot();
                (void)QTest::qWaitFor([&] { return !access.status().isEmpty(); }, 10000);
                times << double(clock.nsecsElapsed()) / 1e6;
                stall = std::max(stall, meter.longest);
            }
            QTextStream(stdout) << "  " << access.preview()->currentFrameImage().width() << "x"
                                << access.preview()->currentFrameImage().height() << ": median "
                                << QString::number(ProcessFigures::median(times), 'f', 0)
                                << " ms to the saved message, "
                                << "longest GUI-thread stall " << stall << " ms" << Qt::endl;
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
    double startMs = -1;
    Steady steady;
    double residentMb = 0;
    double peakResidentMb = 0;
    int threads = 0;
};

ProgramRun runProgram(ScreenWatch &screen, int width, int height, bool steady)
{
    ProgramRun result;
    screen.blank();
    UserRun program(benchCamera(width, height));
    QElapsedTimer clock;
    clock.start();
    if (!program.start())
        return result;
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

// The bare pipeline a preview amounts to: the same picture, converted and scaled to about the
// size the window shows, drawn on the screen.
Steady runBarePipeline(ScreenWatch &screen)
{
    screen.blank();
    QProcess pipeline;
    pipeline.setStandardOutputFile(QProcess::nullDevice());
    pipeline.setStandardErrorFile(QProcess::nullDevice());
    const QString elements = QStringLiteral(
        "videotestsrc pattern=smpte is-live=true ! video/x-raw,format=YUY2,width=1920,height=1080,"
        "framerate=30/1 ! videoconvert ! videoscale ! video/x-raw,width=960,height=540 ! "
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
    out << "the program as a user starts it (default settings, one virtual YUY2 camera), "
           "watched on the X screen"
        << Qt::endl;

    QList<double> startTimes;
    for (int i = 0; i < startRuns; ++i) {
        const ProgramRun run = runProgram(screen, 1920, 1080, false);
        if (run.startMs < 0) {
            out << "run " << i + 1 << ": no picture on the screen" << Qt::endl;
            return 1;
        }
        startTimes << run.startMs;
    }
    out << "start to first picture on the screen, 1920x1080@30, " << startRuns
        << " runs:" << Qt::endl;
    out << "  median " << figure(ProcessFigures::median(startTimes), 0) << " ms (min "
        << figure(*std::min_element(startTimes.cbegin(), startTimes.cend()), 0) << ", max "
        << figure(*std::max_element(startTimes.cbegin(), startTimes.cend()), 0)
        << "; includes the 500 ms start delay)" << Qt::endl;

    const ProgramRun fullHd = runProgram(screen, 1920, 1080, true);
    const Steady bare = runBarePipeline(screen);
    out << "preview, after 2 s of settling:" << Qt::endl;
    printSteady(out, QStringLiteral("tarvelo 1920x1080@30"), fullHd);
    out << "  bare gst-launch (YUY2 1080p30, videoconvert, videoscale to 960x540, ximagesink): "
        << figure(bare.cpuSeconds) << " CPU-s, " << figure(bare.framesPerSecond, 1)
        << " pictures per second" << Qt::endl;
    out << "  ratio tarvelo / bare pipeline: "
        << figure(bare.cpuSeconds > 0 ? fullHd.steady.cpuSeconds / bare.cpuSeconds : 0) << Qt::endl;
    printSteady(out, QStringLiteral("tarvelo 3840x2160@30"), runProgram(screen, 3840, 2160, true));
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
    if (argc > 2 && qstrcmp(argv[1], "--record") == 0)
        return runRecording(argc, argv, atoi(argv[2]));
    QCoreApplication application(argc, argv);
    return runAll(argc > 1 && qstrcmp(argv[1], "--preview") == 0);
}

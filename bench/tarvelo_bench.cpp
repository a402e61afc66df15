// Start-up latency and preview CPU cost of the real window against the virtual 1080p camera;
// snapshot and recording costs.
//
//   tarvelo_bench            runs every figure (needs an X display, see bench/run.sh)
//   tarvelo_bench --window   one window process: prints "first-frame" when the preview works
//   tarvelo_bench --snapshot W H   one window process: times ten snapshots of a W x H camera
//   tarvelo_bench --record S       one window process: records S seconds of 1080p30

#include "app/mainwindow.h"
#include "app/theme.h"
#include "mainwindowtestaccess.h"
#include "mediaprobe.h"
#include "preview/videopreviewwidget.h"
#include "session/retiredsession.h"
#include "testenvironment.h"
#include "virtualcamera.h"

#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QTextStream>
#include <QThread>
#include <QTimer>
#include <QVideoSink>

#include <functional>

#include <QDir>
#include <QLabel>
#include <QMediaRecorder>

#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>

namespace {
const QString marker = QStringLiteral("first-frame");
constexpr int startRuns = 10;
constexpr int cpuWindowSeconds = 10;

QList<VirtualCamera::Camera> fullHdCamera()
{
    return {{QStringLiteral("Bench Camera 1080p"),
             true,
             true,
             {{1920, 1080, 30, "YUY2"}, {1920, 1080, 30, "NV12"}}}};
}

double median(QList<double> values);

// User plus system CPU seconds of this process so far.
double ownCpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Runs `work` in a window fed by the given cameras; returns its result.
int withWindow(int argc, char *argv[], const QList<VirtualCamera::Camera> &cameras,
               const std::function<int(MainWindow &, MainWindowTestAccess &)> &work)
{
    TestEnvironment environment;
    VirtualCamera::install(cameras);
    QApplication::setAttribute(Qt::AA_ForceRasterWidgets); // as the program does
    QApplication application(argc, argv);
    TestEnvironment::setApplicationIdentity();
    Theme::apply(application);
    int result = 0;
    {
        MainWindow window;
        MainWindowTestAccess access(window);
        window.show();
        result = work(window, access);
    }
    finishRetiredSessions();
    return result;
}

int runWindow(int argc, char *argv[])
{
    return withWindow(argc, argv, fullHdCamera(),
                      [](MainWindow &window, MainWindowTestAccess &access) {
                          // Connected after the window's own frame handler, so it runs right after
                          // it.
                          QObject::connect(access.preview()->videoSink(),
                                           &QVideoSink::videoFrameChanged, &window, [&access] {
                                               static bool reported = false;
                                               if (!reported && access.frameReceived()) {
                                                   reported = true;
                                                   QTextStream(stdout) << marker << Qt::endl;
                                               }
                                           });
                          return QApplication::exec();
                      });
}

QList<VirtualCamera::Camera> benchCamera(int width, int height)
{
    return {{QStringLiteral("Bench Camera"), true, true, {{width, height, 30, "YUY2"}}}};
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
        argc, argv, benchCamera(width, height), [](MainWindow &, MainWindowTestAccess &access) {
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
                                << QString::number(median(times), 'f', 0)
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
        argc, argv, benchCamera(1920, 1080), [seconds](MainWindow &, MainWindowTestAccess &access) {
            if (!waitForPreview(access))
                return 1;
            QTextStream out(stdout);
            const double cpuBefore = ownCpuSeconds();
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
            const double cpu = ownCpuSeconds() - cpuBefore;
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

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    return n % 2 ? values.at(n / 2) : (values.at(n / 2 - 1) + values.at(n / 2)) / 2;
}

// User plus system CPU seconds of a process so far.
double cpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    // Fields after the command name start at 3 (state); utime and stime are 14 and 15.
    const double ticks = fields.at(11).toDouble() + fields.at(12).toDouble();
    return ticks / double(sysconf(_SC_CLK_TCK));
}

// Starts the window process; returns the milliseconds until it reported its first frame.
double startWindow(QProcess &process)
{
    QElapsedTimer clock;
    clock.start();
    process.setProgram(QCoreApplication::applicationFilePath());
    process.setArguments({QStringLiteral("--window")});
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start();
    while (process.waitForReadyRead(15000)) {
        while (process.canReadLine()) {
            if (process.readLine().trimmed() == marker.toLatin1())
                return double(clock.nsecsElapsed()) / 1e6;
        }
    }
    return -1;
}

void stop(QProcess &process)
{
    process.terminate();
    if (!process.waitForFinished(3000))
        process.kill();
    process.waitForFinished(3000);
}

double measureCpu(QProcess &process)
{
    QThread::sleep(2); // settle past start-up work
    const double before = cpuSeconds(process.processId());
    QThread::sleep(cpuWindowSeconds);
    const double after = cpuSeconds(process.processId());
    return after - before;
}

int runAll()
{
    QTextStream out(stdout);
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        out << "needs an X display (bench/run.sh starts Xvfb)" << Qt::endl;
        return 1;
    }

    QList<double> startTimes;
    for (int i = 0; i < startRuns; ++i) {
        QProcess window;
        const double ms = startWindow(window);
        stop(window);
        if (ms < 0) {
            out << "run " << i + 1 << ": no first frame" << Qt::endl;
            return 1;
        }
        startTimes << ms;
    }
    out << "start to first frame, virtual 1920x1080 camera, " << startRuns << " runs:" << Qt::endl;
    out << "  median " << QString::number(median(startTimes), 'f', 0) << " ms (min "
        << QString::number(*std::min_element(startTimes.cbegin(), startTimes.cend()), 'f', 0)
        << ", max "
        << QString::number(*std::max_element(startTimes.cbegin(), startTimes.cend()), 'f', 0)
        << "; includes the 500 ms start delay)" << Qt::endl;

    QProcess window;
    if (startWindow(window) < 0)
        return 1;
    const double windowCpu = measureCpu(window);
    stop(window);

    const QString gstLaunch = QStandardPaths::findExecutable(QStringLiteral("gst-launch-1.0"));
    QProcess pipeline;
    pipeline.setStandardOutputFile(QProcess::nullDevice());
    pipeline.setStandardErrorFile(QProcess::nullDevice());
    pipeline.start(gstLaunch,
                   QStringList {QStringLiteral("videotestsrc"), QStringLiteral("pattern=smpte"),
                                QStringLiteral("is-live=true"), QStringLiteral("!"),
                                QStringLiteral("video/x-raw,format=YUY2,width=1920,height=1080,"
                                               "framerate=30/1"),
                                QStringLiteral("!"), QStringLiteral("videoconvert"),
                                QStringLiteral("!"), QStringLiteral("ximagesink")});
    if (!pipeline.waitForStarted(5000))
        return 1;
    const double pipelineCpu = measureCpu(pipeline);
    stop(pipeline);

    out << "CPU seconds per " << cpuWindowSeconds << " s of 1080p30 preview:" << Qt::endl;
    out << "  tarvelo " << QString::number(windowCpu, 'f', 2) << ", bare gst-launch "
        << QString::number(pipelineCpu, 'f', 2) << ", ratio "
        << QString::number(pipelineCpu > 0 ? windowCpu / pipelineCpu : 0, 'f', 2) << Qt::endl;

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
    if (argc > 1 && qstrcmp(argv[1], "--window") == 0)
        return runWindow(argc, argv);
    if (argc > 3 && qstrcmp(argv[1], "--snapshot") == 0)
        return runSnapshots(argc, argv, atoi(argv[2]), atoi(argv[3]));
    if (argc > 2 && qstrcmp(argv[1], "--record") == 0)
        return runRecording(argc, argv, atoi(argv[2]));
    QCoreApplication application(argc, argv);
    return runAll();
}

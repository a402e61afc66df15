// Start-up latency and preview CPU cost of the real window against the virtual 1080p camera.
//
//   tarvelo_bench            runs every figure (needs an X display, see bench/run.sh)
//   tarvelo_bench --window   one window process: prints "first-frame" when the preview works

#include "app/mainwindow.h"
#include "app/theme.h"
#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "testenvironment.h"
#include "virtualcamera.h"

#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>
#include <QThread>
#include <QTimer>
#include <QVideoSink>

#include <algorithm>
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

int runWindow(int argc, char *argv[])
{
    TestEnvironment environment;
    VirtualCamera::install(fullHdCamera());
    QApplication application(argc, argv);
    TestEnvironment::setApplicationIdentity();
    Theme::apply(application);

    MainWindow window;
    MainWindowTestAccess access(window);
    window.show();
    // Connected after the window's own frame handler, so it runs right after it.
    QObject::connect(access.preview()->videoSink(), &QVideoSink::videoFrameChanged, &window, [&] {
        static bool reported = false;
        if (!reported && access.frameReceived()) {
            reported = true;
            QTextStream(stdout) << marker << Qt::endl;
        }
    });
    return QApplication::exec();
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
    return 0;
}
} // namespace

int main(int argc, char *argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "--window") == 0)
        return runWindow(argc, argv);
    QCoreApplication application(argc, argv);
    return runAll();
}

// Recording figures: frames kept, duration, preview pictures and CPU of the window while it
// records, the file's codec, profile and sampling, and how many of a series of recordings play.
// Each figure runs in a window process of its own (default settings, a home of its own) beside
// the bare pipeline that records the same picture the same way.
//
//   tarvelo_recordbench [SECONDS]   every figure; 60 s recordings unless told (run.sh wraps it)
//   tarvelo_recordbench --window W H SECONDS [COUNT]   one window process: COUNT recordings

#include "app/mainwindow.h"
#include "benchwindow.h"
#include "mainwindowtestaccess.h"
#include "mediaprobe.h"
#include "preview/videopreviewwidget.h"
#include "processfigures.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMediaRecorder>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QVideoSink>
#include <QtEndian>

#include <algorithm>
#include <csignal>
#include <optional>

namespace {
QString figure(double value, int decimals = 1)
{
    return QString::number(value, 'f', decimals);
}

// Samples of the boxes between `at` and `end` of an MP4 file: the sample-size table of a plain
// file, the track runs of the fragments of a fragmented one.
qint64 countSamples(const QByteArray &data, qsizetype at, qsizetype end)
{
    static const QByteArrayList containers = {"moov", "trak", "mdia", "minf",
                                              "stbl", "moof", "traf"};
    const auto word = [&data](qsizetype offset) {
        return offset + 4 <= data.size() ? qFromBigEndian<quint32>(data.constData() + offset) : 0u;
    };
    qint64 samples = 0;
    while (at + 8 <= end) {
        const qsizetype size = word(at);
        const QByteArray type = data.mid(at + 4, 4);
        if (size < 8 || at + size > end)
            break;
        if (containers.contains(type))
            samples += countSamples(data, at + 8, at + size);
        else if (type == "stsz") // version and flags, sample size, count
            samples += word(at + 16);
        else if (type == "trun") // version and flags, count
            samples += word(at + 12);
        at += size;
    }
    return samples;
}

qint64 mp4SampleCount(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray data = file.readAll();
    return countSamples(data, 0, data.size());
}

struct Recording
{
    double wallSeconds = 0;
    double cpuSeconds = 0;
    double previewPerSecond = 0;
    QString path;
};

// Records `seconds` in the window, counting the pictures the preview is given meanwhile.
Recording record(MainWindowTestAccess &access, int seconds)
{
    Recording result;
    int pictures = 0;
    QObject context;
    QObject::connect(access.preview()->videoSink(), &QVideoSink::videoFrameChanged, &context,
                     [&] { ++pictures; });
    const qint64 pid = QCoreApplication::applicationPid();
    const double cpuBefore = ProcessFigures::cpuSeconds(pid);
    access.toggleRecording();
    (void)QTest::qWaitFor(
        [&] { return access.recorder()->recorderState() == QMediaRecorder::RecordingState; });
    QElapsedTimer clock;
    clock.start();
    pictures = 0;
    QTest::qWait(seconds * 1000);
    result.previewPerSecond = pictures * 1000.0 / double(clock.elapsed());
    access.toggleRecording();
    result.wallSeconds = double(clock.elapsed()) / 1000;
    (void)QTest::qWaitFor(
        [&] { return access.recorder()->recorderState() == QMediaRecorder::StoppedState; }, 60000);
    result.cpuSeconds = ProcessFigures::cpuSeconds(pid) - cpuBefore;
    result.path = access.recorder()->actualLocation().toLocalFile();
    return result;
}

// Child mode: prints one line per recording, "wall cpu preview frames duration readable caps".
int runWindow(int argc, char *argv[], int width, int height, int seconds, int count)
{
    const VirtualCamera::Camera camera {
        QStringLiteral("Bench Camera"), true, true, {{width, height, 30, "YUY2"}}};
    return withWindow(argc, argv, {camera}, [=](MainWindow &, MainWindowTestAccess &access) {
        if (!QTest::qWaitFor([&] { return access.frameReceived(); }, 15000))
            return 1;
        QTest::qWait(2000);
        QTextStream out(stdout);
        for (int i = 0; i < count; ++i) {
            QTest::qWait(1100); // one file name per second
            const Recording run = record(access, seconds);
            const MediaProbe probe = MediaProbe::of(run.path);
            out << run.wallSeconds << ' ' << run.cpuSeconds << ' ' << run.previewPerSecond << ' '
                << mp4SampleCount(run.path) << ' ' << probe.seconds << ' ' << int(probe.readable)
                << ' ' << probe.videoCaps << Qt::endl;
        }
        return 0;
    });
}

struct ChildLine
{
    double wall = 0, cpu = 0, preview = 0, frames = 0, duration = 0;
    bool readable = false;
    QString caps;
};

QList<ChildLine> runChild(int width, int height, int seconds, int count)
{
    QProcess child;
    child.setProgram(QCoreApplication::applicationFilePath());
    child.setArguments({QStringLiteral("--window"), QString::number(width), QString::number(height),
                        QString::number(seconds), QString::number(count)});
    child.setStandardErrorFile(QProcess::nullDevice());
    child.start();
    child.waitForFinished(count * (seconds + 30) * 1000 + 60000);
    QList<ChildLine> lines;
    for (const QByteArray &text : child.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = text.split(' ');
        if (fields.size() < 7)
            continue;
        lines.append({fields[0].toDouble(), fields[1].toDouble(), fields[2].toDouble(),
                      fields[3].toDouble(), fields[4].toDouble(), fields[5] == "1",
                      QString::fromUtf8(text.mid(text.indexOf("video/")))});
    }
    return lines;
}

// The same picture recorded by gst-launch alone, with the encoder settings of the program's
// recordings: CPU seconds over the same time.
double runBarePipeline(int width, int height, int seconds)
{
    QTemporaryDir folder;
    QProcess pipeline;
    pipeline.setStandardOutputFile(QProcess::nullDevice());
    pipeline.setStandardErrorFile(QProcess::nullDevice());
    const QString elements =
        QStringLiteral("-e videotestsrc pattern=smpte is-live=true ! "
                       "video/x-raw,format=YUY2,width=%1,height=%2,framerate=30/1 ! videoconvert ! "
                       "video/x-raw,format=I420 ! x264enc pass=qual quantizer=20 "
                       "speed-preset=superfast key-int-max=60 ! mp4mux fragment-duration=500 ! "
                       "filesink location=%3")
            .arg(width)
            .arg(height)
            .arg(folder.filePath(QStringLiteral("bare.mp4")));
    pipeline.start(QStandardPaths::findExecutable(QStringLiteral("gst-launch-1.0")),
                   elements.split(QLatin1Char(' ')));
    if (!pipeline.waitForStarted(5000))
        return -1;
    QTest::qWait(2000);
    const double before = ProcessFigures::cpuSeconds(pipeline.processId());
    QTest::qWait(seconds * 1000);
    const double cpu = ProcessFigures::cpuSeconds(pipeline.processId()) - before;
    ::kill(pid_t(pipeline.processId()), SIGINT);
    if (!pipeline.waitForFinished(30000))
        pipeline.kill();
    return cpu;
}

// Two processes that spin, as other work on a two-core machine does.
class BusyLoops
{
public:
    BusyLoops()
    {
        for (QProcess &loop : loops)
            loop.start(QStringLiteral("sh"),
                       {QStringLiteral("-c"), QStringLiteral("while :; do :; done")});
    }
    ~BusyLoops()
    {
        for (QProcess &loop : loops) {
            loop.kill();
            loop.waitForFinished(3000);
        }
    }

private:
    QProcess loops[2];
};

void printRecording(QTextStream &out, const QString &what, const ChildLine &line, double bareCpu)
{
    const double expected = line.wall * 30;
    out << what << ":" << Qt::endl
        << "  frames kept " << line.frames << " of about " << qRound(expected) << " ("
        << figure(line.frames / expected * 100, 2) << " %); file duration "
        << figure(line.duration, 2) << " s for " << figure(line.wall, 2) << " s recorded"
        << Qt::endl
        << "  preview pictures per second while recording " << figure(line.preview) << Qt::endl
        << "  CPU of the whole window process " << figure(line.cpu) << " s ("
        << figure(line.cpu / line.wall, 2) << " cores)";
    if (bareCpu >= 0)
        out << "; bare gst-launch recording " << figure(bareCpu) << " s; ratio "
            << figure(line.cpu / bareCpu, 2);
    out << Qt::endl << "  " << line.caps.left(110) << Qt::endl;
}

int runAll(int seconds)
{
    QTextStream out(stdout);
    out << seconds << " s recordings of a YUY2 virtual camera, window on the X screen" << Qt::endl;
    const auto one = [&](int width, int height, bool busy, bool bare) {
        std::optional<BusyLoops> loops;
        if (busy)
            loops.emplace();
        const QList<ChildLine> lines = runChild(width, height, seconds, 1);
        const double bareCpu = bare ? runBarePipeline(width, height, seconds) : -1;
        const QString what = QStringLiteral("%1x%2@30%3")
                                 .arg(width)
                                 .arg(height)
                                 .arg(busy ? QStringLiteral(", two busy loops") : QString());
        if (lines.isEmpty())
            out << what << ": no recording" << Qt::endl;
        else
            printRecording(out, what, lines.first(), bareCpu);
    };
    one(1920, 1080, false, true);
    one(1280, 720, true, false);
    one(3840, 2160, false, true);

    const int series = 20;
    BusyLoops loops;
    const QList<ChildLine> lines = runChild(1280, 720, 3, series);
    const auto playable = std::count_if(lines.cbegin(), lines.cend(), [](const ChildLine &line) {
        return line.readable && line.duration > 0 && line.frames > 0;
    });
    out << series << " recordings of 3 s in a row, 1280x720@30, two busy loops: " << playable
        << " of " << series << " play (" << lines.size() << " made)" << Qt::endl;
    return 0;
}
} // namespace

int main(int argc, char *argv[])
{
    const QStringList arguments = [&] {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list << QString::fromLocal8Bit(argv[i]);
        return list;
    }();
    if (arguments.size() >= 4 && arguments[0] == QLatin1String("--window"))
        return runWindow(argc, argv, arguments[1].toInt(), arguments[2].toInt(),
                         arguments[3].toInt(), arguments.value(4, QStringLiteral("1")).toInt());
    QCoreApplication application(argc, argv);
    return runAll(arguments.isEmpty() ? 60 : arguments[0].toInt());
}

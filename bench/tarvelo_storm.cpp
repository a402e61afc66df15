// Memory of the real window under a storm of camera hotplugs: two virtual cameras are pulled and
// plugged at random, 0.25 to 1.5 s apart. After the warm-up changes it prints the resident memory
// every 50 changes (the median of the last samples: single samples swing with the frames in
// flight), the peak, and whether the window shows a live picture at the end.
//
//   tarvelo_storm [--seed N] [--changes N] [--warmup N]     needs an X display (bench/storm.sh)

#include "app/mainwindow.h"
#include "benchwindow.h"
#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "processfigures.h"
#include "virtualcamera.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QTextStream>
#include <QTimer>
#include <QVideoSink>

#include <algorithm>
#include <malloc.h>
#include <random>

namespace {
constexpr int medianOf = 15; // samples, one per change
constexpr int reportEvery = 50;

struct Options
{
    quint32 seed = 1;
    int changes = 300;
    int warmup = 20;
};

double residentMegabytes()
{
    return ProcessFigures::residentMegabytes(QCoreApplication::applicationPid());
}

double medianOfLast(const QList<double> &samples)
{
    return ProcessFigures::median(samples.mid(std::max<qsizetype>(0, samples.size() - medianOf)));
}

QString mb(double value)
{
    return QString::number(value, 'f', 1) + QStringLiteral(" MB");
}

// Where the resident memory is: malloc's blocks in use and the free ones it keeps, all arenas
// together, and the threads (each new thread may get an arena of its own).
QString breakdown()
{
    const struct mallinfo2 heap = mallinfo2();
    const double megabyte = 1024.0 * 1024.0;
    return QStringLiteral("heap in use %1, kept free %2, anonymous %3, %4 threads")
        .arg(mb(double(heap.uordblks + heap.hblkhd) / megabyte),
             mb(double(heap.fordblks) / megabyte),
             mb(ProcessFigures::statusValue(QCoreApplication::applicationPid(), "RssAnon") / 1024))
        .arg(ProcessFigures::threads(QCoreApplication::applicationPid()));
}

QList<VirtualCamera::Camera> stormCameras()
{
    return {{QStringLiteral("Storm Camera A"),
             true,
             true,
             {{1920, 1080, 30, "YUY2"}, {1280, 720, 30, "YUY2"}}},
            {QStringLiteral("Storm Camera B"),
             false,
             true,
             {{1280, 720, 30, "NV12"}, {640, 480, 30, "NV12"}}}};
}

// Live: the window reports a working preview and its sink keeps receiving frames.
bool showsLivePicture(MainWindowTestAccess &access)
{
    if (!QTest::qWaitFor([&] { return access.frameReceived() && access.badgeState() == "ready"; },
                         20000))
        return false;
    // Counted, not spied: a QSignalSpy would keep every frame's buffer.
    int frames = 0;
    const QMetaObject::Connection counting = QObject::connect(
        access.preview()->videoSink(), &QVideoSink::videoFrameChanged, [&frames] { ++frames; });
    const bool flowing = QTest::qWaitFor([&] { return frames >= 10; }, 5000);
    QObject::disconnect(counting);
    return flowing && access.frameReceived();
}

// The highest resident set seen between the once-per-change samples, and when.
class PeakMeter : public QObject
{
public:
    PeakMeter()
    {
        timer.callOnTimeout(this, [this] {
            const double rss = residentMegabytes();
            if (rss > peak) {
                peak = rss;
                atChange = change;
            }
        });
        timer.start(20);
    }
    double peak = 0;
    int atChange = 0;
    int change = 0;

private:
    QTimer timer;
};

int storm(const Options &options, MainWindowTestAccess &access)
{
    QTextStream out(stdout);
    const QList<VirtualCamera::Camera> cameras = stormCameras();
    QList<bool> plugged(cameras.size(), true);
    std::mt19937 random(options.seed);
    std::uniform_int_distribution<int> gapMs(250, 1500);
    std::uniform_int_distribution<int> pick(0, int(cameras.size()) - 1);

    out << "hotplug storm, seed " << options.seed << ": " << options.warmup
        << " warm-up changes, then " << options.changes << ", 0.25-1.5 s apart; RSS medians of "
        << medianOf << " samples (one per change)" << Qt::endl;
    if (!QTest::qWaitFor([&] { return access.frameReceived(); }, 20000)) {
        out << "no first frame" << Qt::endl;
        return 1;
    }
    out << "  first frame: RSS " << mb(residentMegabytes()) << Qt::endl;

    QElapsedTimer clock;
    clock.start();
    PeakMeter meter;
    QList<double> samples;
    double baseline = 0;
    for (int change = 1; change <= options.warmup + options.changes; ++change) {
        QTest::qWait(gapMs(random));
        const double rss = residentMegabytes();
        samples << rss;

        meter.change = change;
        const int which = pick(random);
        const bool ok = plugged[which] ? VirtualCamera::unplug(cameras.at(which).name)
                                       : VirtualCamera::plug(cameras.at(which));
        if (!ok) {
            out << "change " << change << ": the virtual camera refused it" << Qt::endl;
            return 1;
        }
        plugged[which] = !plugged[which];

        const int stormChange = change - options.warmup;
        if (stormChange == 0) {
            baseline = medianOfLast(samples);
            out << "  after warm-up: RSS median " << mb(baseline) << Qt::endl
                << "    " << breakdown() << Qt::endl;
        } else if (stormChange > 0 && stormChange % reportEvery == 0) {
            out << "  change " << stormChange << ": RSS median " << mb(medianOfLast(samples))
                << ", last " << mb(rss) << ", peak so far " << mb(meter.peak) << " ("
                << clock.elapsed() / 1000 << " s)" << Qt::endl
                << "    " << breakdown() << Qt::endl;
        }
    }
    const double final = medianOfLast(samples);

    // The storm ends with the default camera plugged, so there is something to show.
    if (!plugged[0])
        VirtualCamera::plug(cameras.at(0));
    const bool live = showsLivePicture(access);
    out << "  growth of the median over the " << options.changes
        << " changes: " << QString::number(final - baseline, 'f', 1) << " MB (" << mb(baseline)
        << " -> " << mb(final) << ")" << Qt::endl;
    out << "  peak during the storm: " << mb(meter.peak) << " (20 ms samples, after change "
        << meter.atChange << "); process high-water mark "
        << mb(ProcessFigures::peakResidentMegabytes(QCoreApplication::applicationPid()))
        << Qt::endl;
    out << "  ends live: " << (live ? "yes" : "no") << " (" << access.currentDeviceName() << ", "
        << access.status() << "); storm took " << clock.elapsed() / 1000 << " s" << Qt::endl;
    return live ? 0 : 1;
}

bool parse(int argc, char *argv[], Options *options)
{
    for (int i = 1; i + 1 < argc; i += 2) {
        bool ok = false;
        const uint value = QByteArray(argv[i + 1]).toUInt(&ok);
        if (!ok)
            return false;
        if (qstrcmp(argv[i], "--seed") == 0)
            options->seed = value;
        else if (qstrcmp(argv[i], "--changes") == 0)
            options->changes = int(value);
        else if (qstrcmp(argv[i], "--warmup") == 0)
            options->warmup = int(value);
        else
            return false;
    }
    return argc % 2 == 1;
}
} // namespace

int main(int argc, char *argv[])
{
    Options options;
    if (!parse(argc, argv, &options) || qEnvironmentVariableIsEmpty("DISPLAY")) {
        QTextStream(stderr) << "usage: tarvelo_storm [--seed N] [--changes N] [--warmup N]; "
                               "needs an X display (bench/storm.sh starts Xvfb)"
                            << Qt::endl;
        return 2;
    }
    return withWindow(argc, argv, stormCameras(), [&](MainWindow &, MainWindowTestAccess &access) {
        return storm(options, access);
    });
}

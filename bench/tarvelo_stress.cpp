// Hangs of the real window under a stress of camera actions: 500 (or --actions N) actions at
// random 0 to 600 ms apart, each one of switching cameras, unplugging or replugging one, stopping
// and starting the preview, or switching to a camera that never gives a picture (so the watchdog
// retries it), while two busy loops hold the machine's cores. A watchdog thread wakes every second:
// when the window's thread has not come back to its event loop for 15 s it prints every thread's
// stack (gdb) and ends the run as hung. At the end the window must show a live picture.
//
//   tarvelo_stress [--seed N] [--actions N]     needs an X display (bench/stress.sh)

#include "app/mainwindow.h"
#include "benchwindow.h"
#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <QTextStream>
#include <QTimer>
#include <QVideoSink>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <thread>
#include <unistd.h>

namespace {
constexpr int hangSeconds = 15;

QList<VirtualCamera::Camera> stressCameras()
{
    VirtualCamera::Camera silent {
        QStringLiteral("Stress Silent"), false, false, {{640, 480, 30, "YUY2"}}};
    return {
        {QStringLiteral("Stress A"), true, true, {{1280, 720, 30, "YUY2"}, {640, 480, 30, "NV12"}}},
        {QStringLiteral("Stress B"), false, true, {{640, 480, 30, "YUY2"}}},
        silent};
}

std::atomic<qint64> lastBeatMs {0};
std::atomic<bool> finished {false};

qint64 nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Runs on a thread of its own: a window thread that stops coming back to its event loop is a hang.
void watchForHang(const std::atomic<int> &actionsDone)
{
    while (!finished) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        if (nowMs() - lastBeatMs > hangSeconds * 1000) {
            std::printf("HANG after action %d: the window's thread has been away from its event "
                        "loop for %d s; all threads:\n",
                        actionsDone.load(), hangSeconds);
            const QByteArray command =
                "gdb -batch -p " + QByteArray::number(getpid()) + " -ex 'thread apply all bt' 2>&1";
            std::fflush(stdout);
            if (std::system(command.constData()) != 0)
                std::printf("(gdb could not attach)\n");
            std::fflush(stdout);
            _exit(3);
        }
    }
}

bool showsLivePicture(MainWindowTestAccess &access)
{
    if (!QTest::qWaitFor([&] { return access.frameReceived(); }, 30000))
        return false;
    int frames = 0;
    const QMetaObject::Connection counting = QObject::connect(
        access.preview()->videoSink(), &QVideoSink::videoFrameChanged, [&frames] { ++frames; });
    const bool flowing = QTest::qWaitFor([&] { return frames >= 10; }, 10000);
    QObject::disconnect(counting);
    return flowing;
}

int stress(quint32 seed, int actions, MainWindowTestAccess &access)
{
    QTextStream out(stdout);
    const QList<VirtualCamera::Camera> cameras = stressCameras();
    QList<bool> plugged(cameras.size(), true);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> gapMs(0, 600), pick(0, int(cameras.size()) - 1);
    // One action in eight waits for the watchdog, so that they take about half of the time.
    std::discrete_distribution<int> kind({7, 7, 7, 3});
    int counts[4] = {};

    QList<QProcess *> busy;
    for (int i = 0; i < 2; ++i) {
        auto *loop = new QProcess;
        loop->start(QStringLiteral("sh"),
                    {QStringLiteral("-c"), QStringLiteral("while :; do :; done")});
        busy << loop;
    }
    QTimer beat;
    beat.callOnTimeout([] { lastBeatMs = nowMs(); });
    beat.start(100);
    lastBeatMs = nowMs();
    std::atomic<int> done {0};
    std::thread watchdog(watchForHang, std::cref(done));

    out << "stress, seed " << seed << ": " << actions
        << " actions 0-600 ms apart with two busy loops; a hang is " << hangSeconds
        << " s away from the event loop" << Qt::endl;
    QElapsedTimer clock;
    clock.start();
    for (int action = 1; action <= actions; ++action) {
        QTest::qWait(gapMs(random));
        const int what = kind(random);
        const int which = pick(random);
        ++counts[what];
        switch (what) {
        case 0: // switch to another listed camera (the silent one is retried by the watchdog)
            if (access.deviceCombo()->count() > 1)
                access.deviceCombo()->setCurrentIndex(which % access.deviceCombo()->count());
            break;
        case 1: // unplug or replug
            if (plugged[which] ? VirtualCamera::unplug(cameras.at(which).name)
                               : VirtualCamera::plug(cameras.at(which)))
                plugged[which] = !plugged[which];
            break;
        case 2: // stop or start the preview
            access.primaryButton()->click();
            break;
        case 3: // the silent camera, left to the watchdog for a while
            if (plugged[2]) {
                access.deviceCombo()->setCurrentIndex(
                    access.deviceCombo()->findText(cameras.at(2).name));
                QTest::qWait(4500);
            }
            break;
        }
        done = action;
        if (action % 100 == 0)
            out << "  " << action << " actions, " << clock.elapsed() / 1000 << " s" << Qt::endl;
    }

    // Back to a camera that works, running.
    for (int i = 0; i < 2; ++i)
        if (!plugged[i] && VirtualCamera::plug(cameras.at(i)))
            plugged[i] = true;
    QTest::qWait(1500);
    access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(cameras.at(0).name));
    QTest::qWait(1000);
    if (access.camera() && !access.camera()->isActive())
        access.primaryButton()->click();
    const bool live = showsLivePicture(access);
    finished = true;
    watchdog.join();
    for (QProcess *loop : busy) {
        loop->kill();
        loop->waitForFinished();
        delete loop;
    }
    out << "  switches " << counts[0] << ", plugs " << counts[1] << ", preview toggles "
        << counts[2] << ", silent-camera waits " << counts[3] << "; no hang; took "
        << clock.elapsed() / 1000 << " s" << Qt::endl;
    out << "  ends live: " << (live ? "yes" : "no") << " (" << access.currentDeviceName() << ", "
        << access.status() << ")" << Qt::endl;
    return live ? 0 : 1;
}
} // namespace

int main(int argc, char *argv[])
{
    quint32 seed = 1;
    int actions = 500;
    bool ok = argc % 2 == 1 && !qEnvironmentVariableIsEmpty("DISPLAY");
    for (int i = 1; ok && i + 1 < argc; i += 2) {
        const uint value = QByteArray(argv[i + 1]).toUInt(&ok);
        if (qstrcmp(argv[i], "--seed") == 0)
            seed = value;
        else if (qstrcmp(argv[i], "--actions") == 0)
            actions = int(value);
        else
            ok = false;
    }
    if (!ok) {
        QTextStream(stderr) << "usage: tarvelo_stress [--seed N] [--actions N]; needs an X display "
                               "(bench/stress.sh starts Xvfb)"
                            << Qt::endl;
        return 2;
    }
    return withWindow(argc, argv, stressCameras(), [&](MainWindow &, MainWindowTestAccess &access) {
        return stress(seed, actions, access);
    });
}

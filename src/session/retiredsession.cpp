#include "session/retiredsession.h"
#include "session/multimediabackend.h"
#include "session/processtuning.h"

#include <QCamera>
#include <QCoreApplication>
#include <QEventLoop>
#include <QList>
#include <QMediaCaptureSession>
#include <QMediaRecorder>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {
#if TARVELO_GSTREAMER_QT64
// Several frame intervals of a slow camera, and well inside the 500 ms
// before a camera is opened again, so a V4L2 device is free by then.
constexpr int settleMs = 300;
// Tearing a camera down can still deadlock here behind the stand-in sink (a renegotiation waits
// on a sink that waits to play). At the end of the process that would keep it, and the camera,
// alive with no window, so there the sessions are left to the system, which closes the devices.
constexpr bool destroyAtEnd = false;
#else
// Later versions need no moment of settling; the end still waits for the event loop.
constexpr int settleMs = 0;
constexpr bool destroyAtEnd = true;
#endif
// Past the longest an encoder takes to flush its look-ahead.
constexpr int finishTimeoutMs = 5000;

// A retired session ends in one of four ways: settleMs after it is retired, when no recorder is
// finishing in it; settleMs after that recorder reports that it stopped or is destroyed; in
// finishRetiredSessions, deleted or (Qt 6.4, or a file not finished in time) left to the end of
// the process; or with the application object, its parent, when nothing called that.
class RetiredSession;
QList<RetiredSession *> liveSessions;
bool applicationEnding = false;

class RetiredSession : public QObject
{
public:
    RetiredSession(std::unique_ptr<QMediaCaptureSession> session, std::unique_ptr<QCamera> camera)
        : QObject(QCoreApplication::instance())
        , session(std::move(session))
        , camera(std::move(camera))
    {
        liveSessions.append(this);
    }
    ~RetiredSession() override { liveSessions.removeOne(this); }

    void endAfterSettling()
    {
        if (std::exchange(ending, true))
            return;
        QTimer::singleShot(settleMs, this, [this] {
            if (applicationEnding)
                return;
            delete this;
            releaseFreedMemory(); // the camera's frame buffers went with it
        });
    }

    bool isEnding() const { return ending; }

private:
    // Declared after the session, so the camera leaves it before the session ends.
    std::unique_ptr<QMediaCaptureSession> session;
    std::unique_ptr<QCamera> camera;
    bool ending = false;
};
} // namespace

void retireCaptureSession(std::unique_ptr<QMediaCaptureSession> session,
                          std::unique_ptr<QCamera> camera, const QMediaRecorder *finishingRecorder)
{
    if (!QCoreApplication::instance()) {
        camera.reset(); // leaves the session before it ends
        return;
    }
    // Whatever is left when the application ends goes with it.
    auto *retired = new RetiredSession(std::move(session), std::move(camera));
    if (!finishingRecorder || finishingRecorder->recorderState() == QMediaRecorder::StoppedState) {
        retired->endAfterSettling();
        return;
    }
    QObject::connect(finishingRecorder, &QMediaRecorder::recorderStateChanged, retired,
                     [retired](QMediaRecorder::RecorderState state) {
                         if (state == QMediaRecorder::StoppedState)
                             retired->endAfterSettling();
                     });
    QObject::connect(finishingRecorder, &QObject::destroyed, retired,
                     [retired] { retired->endAfterSettling(); });
}

void finishRetiredSessions()
{
    if (liveSessions.isEmpty() || !QCoreApplication::instance())
        return;
    // From here on the sessions no longer end on their own: they end below, once their recorders
    // have written the end of their files.
    applicationEnding = true;
    const auto recordersDone = [] {
        return std::all_of(liveSessions.cbegin(), liveSessions.cend(),
                           [](const RetiredSession *session) { return session->isEnding(); });
    };
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (recordersDone())
            loop.quit();
    });
    if (!recordersDone()) {
        poll.start(10);
        QTimer::singleShot(finishTimeoutMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    for (RetiredSession *session : QList(liveSessions)) {
        if (destroyAtEnd && session->isEnding())
            delete session;
        else
            session->setParent(nullptr); // left to the end of the process
    }
}

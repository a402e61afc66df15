#include "session/retiredsession.h"

#include <QCamera>
#include <QCoreApplication>
#include <QEventLoop>
#include <QList>
#include <QMediaCaptureSession>
#include <QMediaRecorder>
#include <QTimer>

#include <utility>

namespace {
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
// Qt 6.4 with GStreamer: several frame intervals of a slow camera, and well inside the 500 ms
// before a camera is opened again, so a V4L2 device is free by then.
constexpr int settleMs = 300;
#else
// Later versions need no moment of settling; the end still waits for the event loop.
constexpr int settleMs = 0;
#endif
// Past the longest an encoder takes to flush its look-ahead.
constexpr int finishTimeoutMs = 5000;

class RetiredSession;
QList<RetiredSession *> liveSessions;

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
        QTimer::singleShot(settleMs, this, [this] { delete this; });
    }

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
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&loop] {
        if (liveSessions.isEmpty())
            loop.quit();
    });
    poll.start(10);
    QTimer::singleShot(finishTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    // Never destroyed: the process ends right after this.
    for (RetiredSession *session : std::as_const(liveSessions))
        session->setParent(nullptr);
}

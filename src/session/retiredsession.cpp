#include "session/retiredsession.h"

#include <QCamera>
#include <QCoreApplication>
#include <QMediaCaptureSession>
#include <QTimer>

namespace {
// Several frame intervals of a slow camera, and well inside the 500 ms before a camera is
// opened again, so a V4L2 device is free by then.
constexpr int settleMs = 300;

class RetiredSession : public QObject
{
public:
    RetiredSession(std::unique_ptr<QMediaCaptureSession> session, std::unique_ptr<QCamera> camera)
        : QObject(QCoreApplication::instance())
        , session(std::move(session))
        , camera(std::move(camera))
    { }

private:
    // Declared after the session, so the camera leaves it before the session ends.
    std::unique_ptr<QMediaCaptureSession> session;
    std::unique_ptr<QCamera> camera;
};
} // namespace

void retireCaptureSession(std::unique_ptr<QMediaCaptureSession> session,
                          std::unique_ptr<QCamera> camera)
{
    if (!QCoreApplication::instance()) {
        camera.reset(); // leaves the session before it ends
        return;
    }
    auto *retired = new RetiredSession(std::move(session), std::move(camera));
    // Whatever is left when the application ends goes with it.
    QTimer::singleShot(settleMs, retired, [retired] { delete retired; });
}

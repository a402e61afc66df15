#include "benchwindow.h"

#include "app/mainwindow.h"
#include "app/theme.h"
#include "session/processtuning.h"
#include "session/retiredsession.h"
#include "testenvironment.h"

#include <QApplication>

#include <optional>

namespace {
void discardMessage(QtMsgType, const QMessageLogContext &, const QString &) { }
} // namespace

int withWindow(int argc, char *argv[], const QList<VirtualCamera::Camera> &cameras,
               const std::function<int(MainWindow &, MainWindowTestAccess &)> &work)
{
    tuneProcessForCameras();
    // A home of its own, but the user's display and sound server: the test environment's
    // offscreen platform would leave out the cost of drawing on the screen.
    const QList<QByteArray> kept = {"QT_QPA_PLATFORM", "PULSE_SERVER"};
    QList<std::optional<QByteArray>> values;
    for (const QByteArray &name : kept)
        values << (qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
    TestEnvironment environment;
    for (qsizetype i = 0; i < kept.size(); ++i) {
        if (values.at(i))
            qputenv(kept.at(i), *values.at(i));
        else
            qunsetenv(kept.at(i));
    }
    VirtualCamera::install(cameras);
    qInstallMessageHandler(discardMessage);
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

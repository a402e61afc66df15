#include "app/buildinfo.h"
#include "app/language.h"
#include "app/mainwindow.h"
#include "app/theme.h"
#include "session/processtuning.h"
#include "session/retiredsession.h"

#include <QApplication>
#include <QTranslator>

#if defined(Q_OS_UNIX)
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
// The program keeps no log; Qt's and its plug-ins' diagnostics are not for the user.
void discardMessage(QtMsgType, const QMessageLogContext &, const QString &) { }

// Libraries below Qt print on their own: FFmpeg its encoder's summary after every recording, the
// video drivers' loaders their failed probes. All of it goes nowhere. (A Windows build is a GUI
// program, with no console to write to.)
void silenceConsole()
{
#if defined(Q_OS_UNIX)
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
#endif
}
} // namespace

int main(int argc, char *argv[])
{
    silenceConsole();
    tuneProcessForCameras();
    qInstallMessageHandler(discardMessage);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarvelo"));
    QApplication::setOrganizationName(QStringLiteral("Mossgrove"));
    QApplication::setApplicationVersion(BuildInfo::version());
    // Lets the desktop match the window to its installed entry and icon.
    QGuiApplication::setDesktopFileName(QStringLiteral(TARVELO_APP_ID));

    QTranslator translator;
    const QString language = Language::resolveStored(QLocale::system().language());
    Language::installCatalogue(application, translator, language);

    Theme::apply(application);

    int result = 0;
    {
        MainWindow window;
        window.show();
        result = QApplication::exec();
    }
    finishRetiredSessions();
    return result;
}

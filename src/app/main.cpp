#include "app/buildinfo.h"
#include "app/language.h"
#include "app/mainwindow.h"
#include "app/theme.h"
#include "session/processtuning.h"
#include "session/retiredsession.h"

#include <QApplication>
#include <QTranslator>

namespace {
// The program keeps no log; Qt's and its plug-ins' diagnostics are not for the user.
void discardMessage(QtMsgType, const QMessageLogContext &, const QString &) { }
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

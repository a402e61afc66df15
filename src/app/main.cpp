#include "app/buildinfo.h"
#include "app/language.h"
#include "app/mainwindow.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QStyle>
#include <QStyleFactory>
#include <QTranslator>

namespace {
// The program keeps no log; Qt's and its plug-ins' diagnostics are not for the user.
void discardMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

QString applicationStyleSheet()
{
    QFile file(QStringLiteral(":/style/tarvelo.qss"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}
} // namespace

int main(int argc, char *argv[])
{
    qInstallMessageHandler(discardMessage);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarvelo"));
    QApplication::setOrganizationName(QStringLiteral("Mossgrove"));
    QApplication::setApplicationVersion(BuildInfo::version());

    QTranslator translator;
    const QString language = Language::resolveStored();
    Language::installCatalogue(application, translator, language);

    if (QStyle *style = QStyleFactory::create(QStringLiteral("Fusion")))
        QApplication::setStyle(style);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/app-icon.png")));
    application.setStyleSheet(applicationStyleSheet());

    MainWindow window;
    window.show();
    return QApplication::exec();
}

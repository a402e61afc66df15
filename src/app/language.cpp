#include "language.h"

#include "app/mainwindow.h"
#include "app/settingskeys.h"

#include <QApplication>
#include <QComboBox>
#include <QMessageBox>
#include <QSettings>
#include <QTranslator>

namespace {
QString storedLanguage()
{
    QSettings settings;
    return settings.value(SettingsKeys::language(), QStringLiteral("system")).toString();
}
} // namespace

QString Language::resolve(const QString &stored, QLocale::Language systemLanguage)
{
    if (stored != QLatin1String("system"))
        return stored;
    return systemLanguage == QLocale::Chinese ? QStringLiteral("zh_CN") : QStringLiteral("en_US");
}

QString Language::resolveStored(QLocale::Language systemLanguage)
{
    return resolve(storedLanguage(), systemLanguage);
}

void Language::installCatalogue(QApplication &application, QTranslator &translator,
                                const QString &language)
{
    if (!language.startsWith(QLatin1String("en")))
        return;
    if (translator.load(QStringLiteral(":/i18n/tarvelo_en.qm")))
        application.installTranslator(&translator);
}

void Language::fillSelector(QComboBox *combo)
{
    combo->addItem(MainWindow::tr("跟随系统"), QStringLiteral("system"));
    combo->addItem(MainWindow::tr("简体中文"), QStringLiteral("zh_CN"));
    combo->addItem(QStringLiteral("English"), QStringLiteral("en_US"));

    const int stored = combo->findData(storedLanguage(), Qt::UserRole, Qt::MatchExactly);
    combo->setCurrentIndex(stored >= 0 ? stored : 0);
}

void Language::selectLanguage(QWidget *window, QComboBox *combo, int index)
{
    const QString chosen = combo->itemData(index).toString();
    if (chosen == storedLanguage())
        return;

    {
        QSettings settings;
        settings.setValue(SettingsKeys::language(), chosen);
    }
    QMessageBox::information(window, MainWindow::tr("语言设置"),
                             MainWindow::tr("界面语言将在重新启动软件后生效。"), QMessageBox::Ok,
                             QMessageBox::NoButton);
}

#include "app/theme.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QStyle>
#include <QStyleFactory>

void Theme::apply(QApplication &application)
{
    if (QStyle *style = QStyleFactory::create(QStringLiteral("Fusion")))
        QApplication::setStyle(style);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/app-icon.png")));

    QFile styleSheet(QStringLiteral(":/style/tarvelo.qss"));
    if (styleSheet.open(QIODevice::ReadOnly))
        application.setStyleSheet(QString::fromUtf8(styleSheet.readAll()));
}

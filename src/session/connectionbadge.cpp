#include "app/mainwindow.h"

#include <QLabel>
#include <QStyle>

void MainWindow::setConnectionBadge(const QString &text, BadgeState state)
{
    if (!connectionBadge)
        return;
    static const QString names[] = {QStringLiteral("ready"), QStringLiteral("waiting"),
                                    QStringLiteral("error")};
    connectionBadge->setText(text);
    connectionBadge->setProperty("state", names[int(state)]);
    // Attribute selectors are only evaluated at polish time.
    connectionBadge->style()->unpolish(connectionBadge);
    connectionBadge->style()->polish(connectionBadge);
}

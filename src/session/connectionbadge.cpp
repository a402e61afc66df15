#include "app/mainwindow.h"

#include <QLabel>
#include <QStyle>

void MainWindow::setConnectionBadge(const QString &text, const QString &state)
{
    if (!connectionBadge)
        return;
    connectionBadge->setText(text);
    connectionBadge->setProperty("state", state);
    // Attribute selectors are only evaluated at polish time.
    connectionBadge->style()->unpolish(connectionBadge);
    connectionBadge->style()->polish(connectionBadge);
}

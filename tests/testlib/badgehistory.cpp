#include "badgehistory.h"

#include <QStyleFactory>

BadgeHistory::BadgeHistory(QLabel *watched)
    : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
    , badge(watched)
{
    clock.start();
    log.append({0, badge->text(), badge->property("state").toString()});
    badge->setStyle(this);
}

BadgeHistory::~BadgeHistory()
{
    if (badge)
        badge->setStyle(nullptr);
}

void BadgeHistory::polish(QWidget *widget)
{
    if (widget == badge) {
        const Entry entry {clock.elapsed(), badge->text(), badge->property("state").toString()};
        // Setting the same text and state again is not a new entry.
        if (log.constLast().text != entry.text || log.constLast().state != entry.state)
            log.append(entry);
    }
    QProxyStyle::polish(widget);
}

QStringList BadgeHistory::texts() const
{
    QStringList result;
    for (const Entry &entry : log)
        result << entry.text;
    return result;
}

qint64 BadgeHistory::firstTimeOf(const QString &text, qint64 fromMs) const
{
    for (const Entry &entry : log) {
        if (entry.atMs >= fromMs && entry.text == text)
            return entry.atMs;
    }
    return -1;
}

QString BadgeHistory::describe() const
{
    QStringList lines;
    for (const Entry &entry : log)
        lines << QStringLiteral("%1 ms: %2 (%3)").arg(entry.atMs).arg(entry.text, entry.state);
    return lines.join(QLatin1Char('\n'));
}

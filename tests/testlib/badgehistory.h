#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QPointer>
#include <QProxyStyle>

// Records every text the connection badge is given, with the time, as it happens: the window
// re-polishes the badge after each change, and this style sees every polish. Catches changes
// that a poll would miss because a later one overwrites them within the same event.
class BadgeHistory : public QProxyStyle
{
public:
    struct Entry
    {
        qint64 atMs;
        QString text;
        QString state;
    };

    explicit BadgeHistory(QLabel *badge);
    ~BadgeHistory() override;

    void polish(QWidget *widget) override;
    using QProxyStyle::polish;

    QList<Entry> entries() const { return log; }
    QStringList texts() const;
    // Time of the first entry with this text at or after fromMs; -1 if there is none.
    qint64 firstTimeOf(const QString &text, qint64 fromMs = 0) const;
    QString describe() const;

private:
    QPointer<QLabel> badge;
    QElapsedTimer clock;
    QList<Entry> log;
};

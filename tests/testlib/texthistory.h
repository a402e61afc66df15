#pragma once

#include <QLabel>
#include <QPointer>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QTimer>

// Every text a label shows, in order, repeats folded. The window re-polishes the connection
// badge after each change, and this style sees every polish: it catches a text that a later one
// overwrites within the same event. Other labels are polled.
class TextHistory : public QProxyStyle
{
public:
    explicit TextHistory(QLabel *watched)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , label(watched)
    {
        record();
        label->setStyle(this);
        QObject::connect(&poll, &QTimer::timeout, this, [this] { record(); });
        poll.start(10);
    }
    ~TextHistory() override
    {
        if (label)
            label->setStyle(nullptr);
    }

    void polish(QWidget *widget) override
    {
        if (widget == label)
            record();
        QProxyStyle::polish(widget);
    }
    using QProxyStyle::polish;

    QStringList texts;

    // The texts that are among these, in the order they were shown.
    QStringList only(const QStringList &wanted) const
    {
        QStringList result;
        for (const QString &text : texts) {
            if (wanted.contains(text))
                result << text;
        }
        return result;
    }

private:
    void record()
    {
        if (label && (texts.isEmpty() || texts.constLast() != label->text()))
            texts << label->text();
    }

    QPointer<QLabel> label;
    QTimer poll;
};

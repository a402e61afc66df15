#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSlider>
#include <QSpinBox>
#include <QStringList>
#include <QVBoxLayout>

// A label's text, or a row as "title value [auto on|off] locked hint"; "value|other" when the
// spin box and the slider disagree; a selector's row as "title entry".
inline QStringList describe(QVBoxLayout *layout)
{
    QStringList lines;
    for (int i = 0; i < layout->count(); ++i) {
        QWidget *widget = layout->itemAt(i)->widget();
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            lines << label->text();
            continue;
        }
        const QString title = widget->findChild<QLabel *>()->text();
        if (const auto *selector = widget->findChild<QComboBox *>()) {
            lines << title + ' ' + selector->currentText();
            continue;
        }
        const auto *spinBox = widget->findChild<QSpinBox *>();
        const auto *slider = widget->findChild<QSlider *>();
        const auto *automatic = widget->findChild<QCheckBox *>();
        QString line = title + ' ' + spinBox->text();
        if (slider->value() != spinBox->value())
            line += '|' + QString::number(slider->value());
        if (!automatic->isHidden())
            line += automatic->isChecked() ? " [auto on]" : " [auto off]";
        if (!slider->isEnabled() && !spinBox->isEnabled())
            line += " locked";
        if (!widget->findChildren<QLabel *>().constLast()->isHidden())
            line += " hint";
        lines << line;
    }
    return lines;
}

inline QWidget *findRow(QWidget *window, const QString &title)
{
    for (QLabel *label : window->findChildren<QLabel *>()) {
        if (label->text() == title && label->buddy())
            return label->parentWidget();
    }
    return nullptr;
}

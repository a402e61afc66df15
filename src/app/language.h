#pragma once

#include <QLocale>
#include <QString>

class QApplication;
class QComboBox;
class QTranslator;
class QWidget;

namespace Language {
// "system" follows the system's language; any other stored value is used as it stands.
QString resolve(const QString &stored, QLocale::Language systemLanguage);
// Reads ui/language and resolves it against the system's language.
QString resolveStored(QLocale::Language systemLanguage);
// Installs the English catalogue for languages beginning with "en"; a catalogue that
// does not load leaves the interface in Chinese.
void installCatalogue(QApplication &application, QTranslator &translator, const QString &language);

void fillSelector(QComboBox *combo);
void selectLanguage(QWidget *window, QComboBox *combo, int index);
} // namespace Language

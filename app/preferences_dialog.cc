#include "app/preferences_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include "app/app_settings.h"
#include "app/texts.h"

namespace kestrum {

PreferencesDialog::PreferencesDialog(QWidget* parent)
    : QDialog(parent),
      language_(new QComboBox),
      theme_(new QComboBox),
      autosave_(new QCheckBox(Tx(20124))),
      quotes_host_(new QLineEdit) {
  setWindowTitle(Tx(20089));
  const Preferences p = LoadPreferences();
  language_->addItem(Tx(20125), QStringLiteral("system"));
  language_->addItem(QStringLiteral("English"), QStringLiteral("en"));
  language_->addItem(QStringLiteral("Русский"), QStringLiteral("ru"));
  language_->setCurrentIndex(language_->findData(p.language));
  theme_->addItem(Tx(20125), QStringLiteral("system"));
  theme_->addItem(Tx(20126), QStringLiteral("light"));
  theme_->addItem(Tx(20127), QStringLiteral("dark"));
  theme_->setCurrentIndex(theme_->findData(p.theme));
  autosave_->setChecked(p.autosave);
  quotes_host_->setText(p.quotes_host);
  quotes_host_->setPlaceholderText(QStringLiteral("https://"));
  auto* form = new QFormLayout(this);
  form->addRow(Tx(20120), language_);
  form->addRow(Tx(20121), theme_);
  form->addRow(QString(), autosave_);
  form->addRow(Tx(20122), quotes_host_);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Tx(1), QDialogButtonBox::AcceptRole)->setDefault(true);
  buttons->addButton(Tx(2), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::accepted, this, &PreferencesDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &PreferencesDialog::reject);
  form->addRow(buttons);
}

void PreferencesDialog::accept() {
  const Preferences before = LoadPreferences();
  Preferences p;
  p.language = language_->currentData().toString();
  p.theme = theme_->currentData().toString();
  p.autosave = autosave_->isChecked();
  p.quotes_host = quotes_host_->text();
  if (!SavePreferences(p)) {
    QMessageBox::warning(this, windowTitle(), Tx(20128));
    return;
  }
  ApplyTheme(p.theme);
  if (LanguageOf(p) != LanguageOf(before)) QMessageBox::information(this, windowTitle(), Tx(20123));
  QDialog::accept();
}

}  // namespace kestrum

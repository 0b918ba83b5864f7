#include "app/password_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/texts.h"

namespace kestrum {

PasswordDialog::PasswordDialog(std::wstring password, const std::wstring& hint, QWidget* parent)
    : QDialog(parent), password_(std::move(password)), field_(new QLineEdit(this)) {
  setWindowTitle(Tx(16002));
  setWindowModality(Qt::WindowModal);
  field_->setEchoMode(QLineEdit::Password);
  auto* form = new QFormLayout;
  form->addRow(Tx(15001), field_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  if (!hint.empty()) {
    auto* hint_label = new QLabel(Tx(20040).arg(FromWide(hint)), this);
    hint_label->setWordWrap(true);
    layout->addWidget(hint_label);
  }
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(Tx(1), QDialogButtonBox::AcceptRole)->setDefault(true);
  buttons->addButton(Tx(2), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::accepted, this, &PasswordDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &PasswordDialog::reject);
  layout->addWidget(buttons);
}

void PasswordDialog::accept() {
  if (ToWide(field_->text()) != password_) {
    auto* alert =
        new QMessageBox(QMessageBox::Warning, Tx(16002), Tx(20041), QMessageBox::Ok, this);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(Qt::WindowModal);
    alert->open();
    field_->selectAll();
    return;
  }
  QDialog::accept();
  emit passwordEntered(true);
}

void PasswordDialog::reject() {
  QDialog::reject();
  emit passwordEntered(false);
}

}  // namespace kestrum

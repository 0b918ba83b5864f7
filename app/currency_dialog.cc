#include "app/currency_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QSpinBox>

#include "app/dialog_parts.h"
#include "app/texts.h"

namespace kestrum {

CurrencyDialog::CurrencyDialog(vemra::Document& document, uint64_t currency_id, QWidget* parent)
    : QDialog(parent),
      model_(document, currency_id),
      name_(new QLineEdit(FromWide(model_.name()))),
      code_(new QLineEdit(FromWide(model_.code()))),
      symbol_(new QLineEdit(FromWide(model_.symbol()))),
      position_(new QComboBox),
      decimals_(new QSpinBox),
      problems_(ProblemsLabel()) {
  setWindowTitle(Tx(20550));
  code_->setMaxLength(3);
  position_->addItem(Tx(20553));
  position_->addItem(Tx(20554));
  position_->setCurrentIndex(model_.symbolPosition());
  decimals_->setRange(0, 8);
  decimals_->setValue(model_.decimals());
  connect(name_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setName(ToWide(t));
    Revalidate();
  });
  connect(code_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setCode(ToWide(t));
    Revalidate();
  });
  connect(symbol_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setSymbol(ToWide(t));
    Revalidate();
  });
  connect(position_, &QComboBox::activated, this, [this](int item) {
    model_.setSymbolPosition(item);
    Revalidate();
  });
  connect(decimals_, &QSpinBox::valueChanged, this, [this](int n) {
    model_.setDecimals(n);
    Revalidate();
  });

  auto* form = new QFormLayout(this);
  form->addRow(Tx(20541), name_);
  form->addRow(Tx(20542), code_);
  form->addRow(Tx(20543), symbol_);
  form->addRow(Tx(20552), position_);
  form->addRow(Tx(20544), decimals_);
  form->addRow(problems_);
  form->addRow(SaveCancelButtons(this, [this] { save(); }));
}

void CurrencyDialog::Revalidate() {
  if (model_.hasChanges() || problems_->isVisible()) ShowProblems(problems_, model_.validate());
}

bool CurrencyDialog::save() {
  return SaveOrShowProblems(
      this, problems_, [this](std::vector<std::string>* reasons) { return model_.save(reasons); },
      [this](uint64_t id) { emit saved(id); });
}

}  // namespace kestrum

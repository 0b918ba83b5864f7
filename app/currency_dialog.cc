#include "app/currency_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSpinBox>

#include "app/texts.h"
#include "app/view_colors.h"

namespace kestrum {

CurrencyDialog::CurrencyDialog(vemra::Document& document, uint64_t currency_id, QWidget* parent)
    : QDialog(parent),
      model_(document, currency_id),
      name_(new QLineEdit(FromWide(model_.name()))),
      code_(new QLineEdit(FromWide(model_.code()))),
      symbol_(new QLineEdit(FromWide(model_.symbol()))),
      position_(new QComboBox),
      decimals_(new QSpinBox),
      problems_(new QLabel) {
  setWindowTitle(Tx(20550));
  code_->setMaxLength(3);
  position_->addItem(Tx(20553));
  position_->addItem(Tx(20554));
  position_->setCurrentIndex(model_.symbolPosition());
  decimals_->setRange(0, 8);
  decimals_->setValue(model_.decimals());
  connect(name_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setName(ToWide(t));
    ShowProblems();
  });
  connect(code_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setCode(ToWide(t));
    ShowProblems();
  });
  connect(symbol_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setSymbol(ToWide(t));
    ShowProblems();
  });
  connect(position_, &QComboBox::activated, this, [this](int item) {
    model_.setSymbolPosition(item);
    ShowProblems();
  });
  connect(decimals_, &QSpinBox::valueChanged, this, [this](int n) {
    model_.setDecimals(n);
    ShowProblems();
  });

  auto* form = new QFormLayout(this);
  form->addRow(Tx(20541), name_);
  form->addRow(Tx(20542), code_);
  form->addRow(Tx(20543), symbol_);
  form->addRow(Tx(20552), position_);
  form->addRow(Tx(20544), decimals_);
  problems_->setObjectName(QStringLiteral("problems"));
  problems_->setWordWrap(true);
  QPalette warning = problems_->palette();
  warning.setColor(QPalette::WindowText, NegativeText(palette()));
  problems_->setPalette(warning);
  problems_->hide();
  form->addRow(problems_);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Tx(20528), QDialogButtonBox::AcceptRole)->setDefault(true);
  buttons->addButton(Tx(2), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::accepted, this, [this] { save(); });
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return), this), &QShortcut::activated, this,
          [this] { save(); });
  form->addRow(buttons);
}

void CurrencyDialog::ShowProblems() {
  if (!model_.hasChanges() && problems_->isHidden()) return;
  QStringList lines;
  for (const std::string& p : model_.validate()) lines << QString::fromStdString(p);
  problems_->setText(lines.join(QLatin1Char('\n')));
  problems_->setVisible(!lines.isEmpty());
}

bool CurrencyDialog::save() {
  std::vector<std::string> problems;
  const uint64_t id = model_.save(&problems);
  if (id == 0) {
    QStringList lines;
    for (const std::string& p : problems) lines << QString::fromStdString(p);
    problems_->setText(lines.join(QLatin1Char('\n')));
    problems_->setVisible(true);
    return false;
  }
  emit saved(id);
  accept();
  return true;
}

}  // namespace kestrum

#include "app/account_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>

#include "app/dialog_parts.h"
#include "app/texts.h"
#include "core/records/currency.h"

namespace kestrum {

AccountDialog::AccountDialog(vemra::Document& document, uint64_t id, bool is_group,
                             const std::vector<std::pair<uint64_t, QString>>& groups,
                             QWidget* parent)
    : QDialog(parent),
      model_(document, id, is_group),
      kind_(new QComboBox),
      name_(new QLineEdit),
      currency_(new QComboBox),
      group_(new QComboBox),
      opening_(new QLineEdit(QString::fromStdString(model_.openingBalance()))),
      hidden_(new QCheckBox(Tx(20565))),
      comment_(new QLineEdit),
      problems_(ProblemsLabel()) {
  setWindowTitle(is_group ? Tx(20561) : Tx(20560));
  kind_->addItem(Tx(20560));
  kind_->addItem(Tx(20561));
  kind_->setCurrentIndex(is_group ? 1 : 0);
  name_->setText(FromWide(is_group ? model_.group().Name : model_.account().Name));
  comment_->setText(FromWide(is_group ? model_.group().Comment : model_.account().Comment));
  hidden_->setChecked(!is_group && id != 0 && model_.account().Data.Visible == 0);
  document.Sync([&] {
    for (const vemra::TCurrency& c : document.database().Currencies().GetEnabledCurrencies()) {
      currency_->addItem(FromWide(c.Name), QVariant::fromValue<qulonglong>(c.Header.ID));
    }
  });
  currency_->setCurrentIndex(
      currency_->findData(QVariant::fromValue<qulonglong>(model_.currencyID())));
  group_->addItem(QStringLiteral("—"), QVariant::fromValue<qulonglong>(0));
  for (const auto& [group_id, name] : groups) {
    group_->addItem(name, QVariant::fromValue<qulonglong>(group_id));
  }
  group_->setCurrentIndex(
      std::max(0, group_->findData(QVariant::fromValue<qulonglong>(model_.accountGroup()))));
  opening_->setAlignment(Qt::AlignRight);

  connect(kind_, &QComboBox::activated, this, [this](int item) {
    model_.setGroup(item == 1);
    Refresh();
  });
  connect(name_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setName(ToWide(t));
    Refresh();
  });
  connect(comment_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setComment(ToWide(t));
    Refresh();
  });
  connect(currency_, &QComboBox::activated, this, [this](int i) {
    model_.setCurrency(currency_->itemData(i).toULongLong());
    Refresh();
  });
  connect(group_, &QComboBox::activated, this, [this](int i) {
    model_.setAccountGroup(group_->itemData(i).toULongLong());
    Refresh();
  });
  connect(opening_, &QLineEdit::textEdited, this, [this](const QString& t) {
    model_.setOpeningBalance(t.toStdString());
    Refresh();
  });
  connect(hidden_, &QCheckBox::toggled, this, [this](bool on) {
    model_.setHidden(on);
    Refresh();
  });

  auto* form = new QFormLayout(this);
  form->addRow(Tx(20503), kind_);
  form->addRow(Tx(20541), name_);
  form->addRow(Tx(20550), currency_);
  form->addRow(Tx(20562), group_);
  form->addRow(Tx(20563), opening_);
  form->addRow(QString(), hidden_);
  form->addRow(Tx(20520), comment_);
  form->addRow(problems_);
  form->addRow(SaveCancelButtons(this, [this] { save(); }));
  Refresh();
}

void AccountDialog::Refresh() {
  auto* form = static_cast<QFormLayout*>(layout());
  form->setRowVisible(kind_, model_.isShown("kind"));
  form->setRowVisible(group_, !model_.isGroup());
  form->setRowVisible(opening_, model_.isShown("opening"));
  form->setRowVisible(hidden_, model_.isShown("hidden"));
  if (model_.hasChanges() || problems_->isVisible()) ShowProblems(problems_, model_.validate());
}

bool AccountDialog::save() {
  return SaveOrShowProblems(
      this, problems_, [this](std::vector<std::string>* reasons) { return model_.save(reasons); },
      [this](uint64_t id) { emit saved(id); });
}

}  // namespace kestrum

#include "app/transaction_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimeEdit>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/category_picker.h"
#include "app/dialog_parts.h"
#include "app/outline_model.h"
#include "app/schedule_editor.h"
#include "app/suggestion_model.h"
#include "app/texts.h"
#include "collections/interfaces.h"
#include "platform/localization.h"

namespace kestrum {

using vemra::editors::TransactionEditModel;

namespace {

// A plain number ("1.25", as the model gives the rate and the quantity) with the current
// language's decimal separator, the one its text is parsed with when typed.
QString LocalDecimal(const std::string& plain) {
  QString text = QString::fromStdString(plain);
  text.replace(QLatin1Char('.'), QString::fromStdString(vemra::platform::Separators().decimal));
  return text;
}

}  // namespace

TransactionDialog::TransactionDialog(vemra::Document& document, uint64_t transaction_id,
                                     const vemra::editors::TransactionPresets& presets, bool copy,
                                     QWidget* parent)
    : QDialog(parent),
      document_(document),
      model_(std::make_unique<TransactionEditModel>(document, transaction_id, copy, presets)) {
  setModal(false);
  Build();
  model_->onChange = [this] { Refresh(); };
  Refresh();
  // Typing starts with the amount, the field almost every entry needs.
  QLineEdit* amount = withdraw_amount_->isVisibleTo(this) ? withdraw_amount_ : target_amount_;
  amount->setFocus();
  amount->selectAll();
}

TransactionDialog::~TransactionDialog() {
  model_->onChange = nullptr;
}

void TransactionDialog::Build() {
  auto* form = new QFormLayout;
  form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

  // The type segments: buttons in one exclusive group, each reachable with Tab.
  auto* types = new QHBoxLayout;
  type_ = new QButtonGroup(this);
  const int kTypeKeys[] = {20500, 20501, 20502};
  for (int type = 0; type < 3; ++type) {
    auto* button = new QPushButton(Tx(kTypeKeys[type]));
    button->setCheckable(true);
    button->setFocusPolicy(Qt::StrongFocus);
    type_->addButton(button, type);
    types->addWidget(button);
  }
  connect(type_, &QButtonGroup::idClicked, this, [this](int type) {
    if (!refreshing_) model_->setTransactionType(type);
  });
  form->addRow(Tx(20503), types);

  withdraw_account_ = new QComboBox;
  target_account_ = new QComboBox;
  FillAccounts();
  connect(withdraw_account_, &QComboBox::activated, this, [this](int i) {
    model_->selectWithdrawAccount(withdraw_account_->itemData(i).toULongLong());
  });
  connect(target_account_, &QComboBox::activated, this, [this](int i) {
    model_->selectTargetAccount(target_account_->itemData(i).toULongLong());
  });
  withdraw_amount_ = new QLineEdit;
  target_amount_ = new QLineEdit;
  rate_ = new QLineEdit;
  quantity_ = new QLineEdit;
  price_ = new QLineEdit;
  for (QLineEdit* field : {withdraw_amount_, target_amount_, rate_, quantity_, price_}) {
    field->setAlignment(Qt::AlignRight);
    connect(field, &QLineEdit::editingFinished, this, [this, field] { AmountEdited(field); });
  }
  details_ = new QCheckBox(Tx(20504));
  connect(details_, &QCheckBox::toggled, this, [this](bool on) {
    if (!refreshing_) model_->showAmountDetails(on);
  });
  auto* swap = new QPushButton(QStringLiteral("⇅"));
  swap->setToolTip(Tx(20505));
  connect(swap, &QPushButton::clicked, this, [this] { model_->swapAccounts(); });
  auto* target_row = new QHBoxLayout;
  target_row->addWidget(target_account_, 1);
  target_row->addWidget(swap);
  auto* target_widget = new QWidget;
  target_widget->setLayout(target_row);
  target_row->setContentsMargins(0, 0, 0, 0);

  form->addRow(Tx(20506), withdraw_account_);
  form->addRow(Tx(20507), withdraw_amount_);
  form->addRow(Tx(20508), target_widget);
  form->addRow(Tx(20509), target_amount_);
  form->addRow(Tx(20510), rate_);
  form->addRow(QString(), details_);
  form->addRow(Tx(20511), quantity_);
  form->addRow(Tx(20512), price_);
  shown_ = {{withdraw_account_, "withdrawAccount"},
            {withdraw_amount_, "withdrawAmount"},
            {target_widget, "targetAccount"},
            {target_amount_, "targetAmount"},
            {rate_, "exRate"},
            {quantity_, "quantity"},
            {price_, "price"}};

  name_ = new QLineEdit;
  connect(name_, &QLineEdit::textEdited, this,
          [this](const QString& text) { model_->setName(ToWide(text)); });
  AttachSuggestions(name_, vemra::lists::SuggestionSource::Descriptions(document_, -1),
                    [this](const vemra::lists::Suggestion& s) {
                      model_->descriptionSuggested(s.entryName, s.categoryID);
                    });
  category_ = new QLineEdit;
  payee_ = new QLineEdit;
  for (auto [field, root] :
       {std::pair{category_, vemra::kCategoryRoot}, std::pair{payee_, vemra::kPayeeRoot}}) {
    const bool payee = root == vemra::kPayeeRoot;
    connect(field, &QLineEdit::textEdited, this, [this, payee](const QString& text) {
      if (text.trimmed().isEmpty()) {
        payee ? model_->selectPayee(0) : model_->selectCategory(0);
      } else {
        payee ? model_->setPayeeText(ToWide(text)) : model_->setCategoryText(ToWide(text));
      }
    });
    AttachSuggestions(field, vemra::lists::SuggestionSource::Categories(document_, root),
                      [this, payee](const vemra::lists::Suggestion& s) {
                        payee ? model_->selectPayee(s.entryID) : model_->selectCategory(s.entryID);
                      });
  }
  form->addRow(Tx(20513), name_);
  // Beside each field, the whole tree to pick from.
  for (auto [field, key] : {std::pair{category_, 20514}, std::pair{payee_, 20515}}) {
    const bool payee = field == payee_;
    auto* pick = new QToolButton;
    pick->setText(QStringLiteral("…"));
    pick->setToolTip(Tx(20577));
    connect(pick, &QToolButton::clicked, this, [this, pick, payee] {
      auto* picker =
          new CategoryPicker(document_, payee ? vemra::kPayeeRoot : vemra::kCategoryRoot, this);
      connect(picker, &CategoryPicker::picked, this, [this, payee](quint64 id, const QString&) {
        payee ? model_->selectPayee(id) : model_->selectCategory(id);
      });
      picker->move(pick->mapToGlobal(QPoint(0, pick->height())));
      picker->show();
    });
    auto* row = new QHBoxLayout;
    row->addWidget(field, 1);
    row->addWidget(pick);
    form->addRow(Tx(key), row);
  }

  date_ = new QDateEdit;
  date_->setCalendarPopup(true);
  time_ = new QTimeEdit;
  time_->setDisplayFormat(QStringLiteral("HH:mm"));
  connect(date_, &QDateEdit::dateChanged, this, [this](const QDate& date) {
    if (!refreshing_) model_->setDate(OutlineModel::FromQDate(date));
  });
  connect(time_, &QTimeEdit::timeChanged, this, [this](const QTime& time) {
    if (!refreshing_) model_->setTime(static_cast<uint32_t>(time.msecsSinceStartOfDay()));
  });
  auto* when = new QHBoxLayout;
  when->addWidget(date_, 1);
  when->addWidget(time_);
  form->addRow(Tx(20516), when);

  cleared_ = new QCheckBox(Tx(20517));
  star_ = new QCheckBox(Tx(20518));
  connect(cleared_, &QCheckBox::toggled, this, [this](bool on) {
    if (!refreshing_) model_->setCleared(on);
  });
  connect(star_, &QCheckBox::toggled, this, [this](bool on) {
    if (!refreshing_) model_->setStar(on);
  });
  auto* flags = new QHBoxLayout;
  flags->addWidget(cleared_);
  flags->addWidget(star_);
  flags->addStretch();
  form->addRow(Tx(20519), flags);

  comment_ = new QLineEdit;
  connect(comment_, &QLineEdit::textEdited, this,
          [this](const QString& text) { model_->setComment(ToWide(text)); });
  form->addRow(Tx(20520), comment_);

  // The schedule: the menu, and while one is set its interval and finish.
  schedule_item_ = new QComboBox;
  for (int key : {20521, 20522, 20523, 20524}) schedule_item_->addItem(Tx(key));
  connect(schedule_item_, &QComboBox::activated, this,
          [this](int item) { model_->setScheduleItem(item); });
  form->addRow(Tx(20525), schedule_item_);
  schedule_box_ = new ScheduleEditor;
  schedule_box_->onChanged = [this](const vemra::TSchedule& schedule) {
    if (!refreshing_) model_->scheduleUpdated(schedule);
  };
  form->addRow(QString(), schedule_box_);

  // Names by which tests and accessibility tools find the fields.
  const std::pair<QWidget*, const char*> names[] = {{withdraw_amount_, "withdrawAmount"},
                                                    {target_amount_, "targetAmount"},
                                                    {rate_, "exRate"},
                                                    {quantity_, "quantity"},
                                                    {price_, "price"},
                                                    {name_, "description"},
                                                    {category_, "category"},
                                                    {payee_, "payee"},
                                                    {comment_, "comment"},
                                                    {cleared_, "cleared"},
                                                    {star_, "star"}};
  for (const auto& [widget, name] : names) widget->setObjectName(QLatin1String(name));

  problems_ = ProblemsLabel();
  QDialogButtonBox* buttons = SaveCancelButtons(this, [this] { save(); });

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(problems_);
  layout->addWidget(buttons);
}

void TransactionDialog::FillAccounts() {
  for (QComboBox* box : {withdraw_account_, target_account_}) {
    box->clear();
    box->addItem(QStringLiteral("—"), QVariant::fromValue<qulonglong>(0));
  }
  for (const vemra::TAccount& a : model_->accounts()) {
    for (QComboBox* box : {withdraw_account_, target_account_}) {
      box->addItem(FromWide(a.Name), QVariant::fromValue<qulonglong>(a.Header.ID));
    }
  }
}

void TransactionDialog::AmountEdited(QLineEdit* field) {
  // Only text the user typed goes to the model: a field merely tabbed through would hand back
  // its shown text, which for the rate is rounded and would change the stored value.
  if (refreshing_ || !field->isModified()) return;
  field->setModified(false);
  const std::string text = field->text().toStdString();
  const std::string decimal = vemra::platform::Separators().decimal;
  if (field == withdraw_amount_) model_->withdrawAmountTyped(text, decimal);
  if (field == target_amount_) model_->targetAmountTyped(text, decimal);
  if (field == rate_) model_->exRateTyped(text, decimal);
  if (field == quantity_) model_->quantityTyped(text, decimal);
  if (field == price_) model_->priceTyped(text, decimal);
  Refresh();
}

void TransactionDialog::TakeFocusedAmount() {
  // An amount field hands its text to the model when it loses the focus, which saving or
  // closing the window does not do first.
  if (auto* field = qobject_cast<QLineEdit*>(focusWidget())) AmountEdited(field);
}

void TransactionDialog::Refresh() {
  refreshing_ = true;
  const TransactionEditModel& m = *model_;
  setWindowTitle(m.isTemplate() ? Tx(20529) : Tx(20530));
  if (QAbstractButton* b = type_->button(m.transactionType())) b->setChecked(true);
  auto pick = [](QComboBox* box, uint64_t id) {
    box->setCurrentIndex(std::max(0, box->findData(QVariant::fromValue<qulonglong>(id))));
  };
  pick(withdraw_account_, m.withdrawAccount().Header.ID);
  pick(target_account_, m.targetAccount().Header.ID);
  auto set = [](QLineEdit* field, const QString& text) {
    if (field->text() != text) field->setText(text);
  };
  set(withdraw_amount_, QString::fromStdString(m.withdrawAmountText()));
  set(target_amount_, QString::fromStdString(m.targetAmountText()));
  set(rate_, LocalDecimal(m.exRateText()));
  set(quantity_, LocalDecimal(m.quantityText()));
  set(price_, QString::fromStdString(m.priceText()));
  set(name_, FromWide(m.name()));
  set(category_, FromWide(m.category().Name));
  set(payee_, FromWide(m.payee().Name));
  set(comment_, FromWide(m.comment()));
  date_->setDate(OutlineModel::ToQDate(m.date()));
  time_->setTime(QTime::fromMSecsSinceStartOfDay(static_cast<int>(m.time())));
  cleared_->setChecked(m.cleared());
  star_->setChecked(m.star());
  details_->setChecked(m.isShown("details") && (m.isShown("quantity") || m.isShown("price")));
  auto* form = qobject_cast<QFormLayout*>(static_cast<QVBoxLayout*>(layout())->itemAt(0)->layout());
  for (auto& [widget, view] : shown_) form->setRowVisible(widget, m.isShown(view));
  form->setRowVisible(details_, m.transactionType() != TransactionEditModel::kTransfer);
  schedule_item_->setCurrentIndex(m.scheduleItem());
  schedule_item_->setEnabled(m.isScheduleMenuEnabled());
  const bool scheduled = m.isShown("schedule") && m.scheduleItem() != 0;
  form->setRowVisible(schedule_box_, scheduled);
  // The schedule editor shows the model's schedule whenever its kind changed from the menu.
  if (scheduled && schedule_box_->schedule().ScheduleType != m.schedule().ScheduleType) {
    schedule_box_->setSchedule(m.schedule());
  }
  if (m.hasChanges() || problems_->isVisible()) ShowProblems(problems_, m.validate());
  refreshing_ = false;
}

bool TransactionDialog::save() {
  TakeFocusedAmount();
  std::vector<std::string> problems;
  const uint64_t id = model_->save(&problems);
  if (id == 0) {
    ShowProblems(problems_, problems);
    return false;
  }
  finished_ = true;
  emit saved(id);
  close();
  return true;
}

void TransactionDialog::reject() {
  model_->cancelOperation();
  finished_ = true;
  QDialog::reject();
}

void TransactionDialog::closeEvent(QCloseEvent* event) {
  if (finished_) {
    event->accept();
    return;
  }
  TakeFocusedAmount();
  if (!model_->popoverShouldClose()) {
    // A new entry with changes stays open until it is saved or cancelled.
    event->ignore();
    ShowProblems(problems_, model_->validate());
    return;
  }
  if (!model_->popoverWillClose()) {
    event->ignore();
    ShowProblems(problems_, model_->validate());
    return;
  }
  finished_ = true;
  event->accept();
}

}  // namespace kestrum

// The transaction editor: a non-modal dialog beside the outline's row over
// editors::TransactionEditModel, which holds all the logic (amount coupling, validation,
// saving, closing rules). Save or Ctrl+Return saves and closes; Escape cancels; closing it any
// other way saves an existing entry with changes and keeps a new one with changes open.
//
// Threads: GUI thread.
#pragma once

#include <QDialog>
#include <memory>

#include "document/document.h"
#include "editors/transaction_edit_model.h"

class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QTimeEdit;
class QWidget;

namespace kestrum {

class ScheduleEditor;

class TransactionDialog : public QDialog {
  Q_OBJECT
 public:
  // Opens transaction `transaction_id` of `document` (0: a new one from `presets`; with `copy`
  // a new one made from it). `document` must outlive the dialog.
  TransactionDialog(vemra::Document& document, uint64_t transaction_id,
                    const vemra::editors::TransactionPresets& presets, bool copy,
                    QWidget* parent = nullptr);
  ~TransactionDialog() override;

  vemra::editors::TransactionEditModel& model() { return *model_; }

 Q_SIGNALS:
  // The entry was stored under `id`.
  void saved(quint64 id);

 public Q_SLOTS:
  // Saves and closes; a refused save keeps the dialog open with the reasons shown.
  bool save();
  // Escape: closes without saving.
  void reject() override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void Build();
  void Refresh();  // shows the model's state in the controls
  void FillAccounts();
  void AmountEdited(QLineEdit* field);
  void TakeFocusedAmount();  // the amount field being typed in, before saving or closing

  vemra::Document& document_;
  std::unique_ptr<vemra::editors::TransactionEditModel> model_;
  bool finished_ = false;  // saved or cancelled: closing does nothing more
  bool refreshing_ = false;

  QButtonGroup* type_ = nullptr;
  QComboBox* withdraw_account_ = nullptr;
  QComboBox* target_account_ = nullptr;
  QLineEdit* withdraw_amount_ = nullptr;
  QLineEdit* target_amount_ = nullptr;
  QLineEdit* rate_ = nullptr;
  QCheckBox* details_ = nullptr;
  QLineEdit* quantity_ = nullptr;
  QLineEdit* price_ = nullptr;
  QLineEdit* name_ = nullptr;
  QLineEdit* category_ = nullptr;
  QLineEdit* payee_ = nullptr;
  QDateEdit* date_ = nullptr;
  QTimeEdit* time_ = nullptr;
  QCheckBox* cleared_ = nullptr;
  QCheckBox* star_ = nullptr;
  QLineEdit* comment_ = nullptr;
  QComboBox* schedule_item_ = nullptr;
  ScheduleEditor* schedule_box_ = nullptr;
  QLabel* problems_ = nullptr;
  std::vector<std::pair<QWidget*, std::string>> shown_;  // widgets and the view they show
};

}  // namespace kestrum
